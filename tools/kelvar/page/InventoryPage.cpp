#include "tools/kelvar/page/InventoryPage.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <openssl/evp.h>
#include <zlib.h>

#include "PageAssets.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/page/MachineSummary.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostLogEntries = 200;

/// Source expression of a content security policy that allows one inline text alone.
std::string HashSource(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr);
  std::array<unsigned char, std::size_t{2} * EVP_MAX_MD_SIZE> base64{};
  const int length = EVP_EncodeBlock(base64.data(), digest.data(), static_cast<int>(size));
  return "'sha256-" + std::string(base64.begin(), base64.begin() + length) + "'";
}

/// JSON inside a script element: nothing in it ends the element.
std::string Harmless(std::string json) {
  for (std::size_t at = 0; (at = json.find('<', at)) != std::string::npos;) {
    json.replace(at, 1, "\\u003c");
  }
  return json;
}

std::vector<Bytef> Gzipped(const std::string& text) {
  constexpr int kGzip = 15 + 16;  // window bits, and a gzip header
  constexpr int kMemory = 8;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::vector<Bytef> packed(deflateBound(&stream, static_cast<uLong>(text.size())));
  std::vector<Bytef> plain(text.begin(), text.end());
  stream.next_in = plain.data();
  stream.avail_in = static_cast<uInt>(plain.size());
  stream.next_out = packed.data();
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string Base64(const std::vector<Bytef>& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

/// The health of each sensor, in their order: limits are judged in one place.
std::string HealthJson(const std::vector<Model::Sensor>& sensors) {
  std::string json;
  for (const Model::Sensor& sensor : sensors) {
    json += fmt::format("{}\"{}\"", json.empty() ? "" : ",", Model::NameOf(HealthOf(sensor)));
  }
  return json;
}

/// Only the newest entries: a page is not an archive.
std::string DataOf(const InventoryReport& report) {
  InventoryReport shown = Excerpt(report);
  std::vector<Model::LogEntry>& entries = shown.inventory.log_entries;
  const std::size_t total = entries.size();
  if (total > kMostLogEntries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& left, const auto& right) { return left.created > right.created; });
    entries.resize(kMostLogEntries);
  }
  std::string json = JsonText(shown);
  json.erase(json.rfind('}'));
  return json + fmt::format(",\"log_total\":{},\"sensor_health\":[{}]}}", total, HealthJson(shown.inventory.sensors));
}

}  // namespace

std::string PageHead() {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; script-src {}; "
      "base-uri 'none'; form-action 'none'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"referrer\" content=\"no-referrer\">\n<title>Inventory</title>\n<style>{}</style></head>\n"
      "<body><main><noscript>This page needs its own script; it loads nothing else.</noscript></main>\n",
      HashSource(kPageStyle), HashSource(kPageScript), kPageStyle);
}

std::string PagePiece(const InventoryReport& report, const std::string& changes) {
  std::string summary = SummaryJson(report);
  if (!changes.empty()) {
    summary.insert(summary.rfind('}'), ",\"changes\":" + changes);
  }
  return "<script type=\"application/json\" class=\"summary\">" + Harmless(std::move(summary)) +
         "</script><script type=\"text/plain\">" + Base64(Gzipped(DataOf(report))) + "</script>\n";
}

std::string PageFoot() {
  return std::string("<script>") + kPageScript + "</script></body></html>\n";
}

}  // namespace Kelvar::Tool
