#include "simulator/http/ResponseWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "simulator/http/Gzip.h"

namespace Kelvar::Simulator {

namespace {

constexpr auto kNoLimit = std::numeric_limits<std::uint64_t>::max();

/// Puts a fault's cut and drip on the way to a sink.
class FaultySink {
 public:
  FaultySink(const Fault& fault, ByteSink& sink)
      : sink_(sink),
        limit_(fault.cut.value_or(kNoLimit)),
        piece_(fault.dripBytes == 0 ? kNoLimit : fault.dripBytes),
        interval_(fault.dripInterval) {}

  /// Allows no more than `bytes` beyond what has gone out.
  void CutAfter(std::uint64_t bytes) { limit_ = written_ + std::min(limit_ - written_, bytes); }

  /// False when nothing more is to be written.
  bool Write(std::string_view bytes) {
    while (!bytes.empty()) {
      const std::string_view piece = bytes.substr(0, std::min(piece_, limit_ - written_));
      const bool wait = written_ > 0 && interval_.count() > 0 && !sink_.Wait(interval_);
      if (piece.empty() || wait || !sink_.Write(piece)) {
        return false;
      }
      written_ += piece.size();
      bytes.remove_prefix(piece.size());
    }
    return written_ < limit_;
  }

 private:
  ByteSink& sink_;
  std::uint64_t written_ = 0;
  std::uint64_t limit_;
  std::uint64_t piece_;
  std::chrono::milliseconds interval_;
};

std::string Repeat(const std::string& text, std::uint64_t times) {
  std::string repeated;
  repeated.reserve(text.size() * times);
  for (std::uint64_t i = 0; i < times; ++i) {
    repeated += text;
  }
  return repeated;
}

bool AcceptsGzip(const HttpRequest& request) {
  const std::string* accepted = FindHeader(request.headers, "Accept-Encoding");
  return accepted != nullptr && accepted->find("gzip") != std::string::npos;
}

void ChangeMessage(const Fault& fault, HttpResponse& response) {
  if (fault.status) {
    response.status = *fault.status;
    response.body.clear();
  }
  if (fault.status || fault.body) {
    response.source = nullptr;
  }
  if (fault.body) {
    response.body = *fault.body;
  }
  for (const auto& [name, value] : fault.headers) {
    SetHeader(response.headers, name, value);
  }
  response.chunked =
      response.chunked || fault.chunked || fault.chunkExtension > 0 || fault.trailerFlood > 0 || response.source;
}

/// Puts a fault's repetitions into the body where it is compressed or sent in chunks. Gives how many times it is still
/// to be sent.
std::uint64_t EncodeBody(const HttpRequest& request, const Fault& fault, HttpResponse& response) {
  constexpr std::size_t kWorthwhile = 512;
  if (fault.gzip || (response.compressible && AcceptsGzip(request) && response.body.size() >= kWorthwhile)) {
    response.body = Gzip(response.body, fault.repeat);
    SetHeader(response.headers, "Content-Encoding", "gzip");
    return 1;
  }
  if (response.chunked && fault.repeat != 1) {
    response.body = Repeat(response.body, fault.repeat);
    return 1;
  }
  return fault.repeat;
}

std::string ComposeHead(const HttpRequest& request, const Fault& fault, const HttpResponse& response,
                        std::uint64_t bodyTimes) {
  std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ';
  head.append(ReasonPhrase(response.status)).append("\r\n");
  const auto add = [&head](std::string_view name, std::string_view value) {
    head.append(name).append(": ").append(value).append("\r\n");
  };
  for (const auto& [name, value] : response.headers) {
    add(name, value);
  }
  const bool hasBody = response.status >= 200 && response.status != 204 && response.status != 304;
  if (fault.contentLength) {
    if (*fault.contentLength != "none") {
      add("Content-Length", *fault.contentLength);
    }
  } else if (response.chunked) {
    add("Transfer-Encoding", "chunked");
  } else if (hasBody && !fault.endless) {
    add("Content-Length", std::to_string(response.body.size() * bodyTimes));
  }
  if (!request.keepAlive) {
    add("Connection", "close");
  }
  return head;
}

bool WriteHeaderFlood(std::uint64_t count, FaultySink& sink) {
  const std::string filling(1000, 'x');
  for (std::uint64_t i = 0; i < count; ++i) {
    if (!sink.Write("X-Flood-" + std::to_string(i) + ": " + filling + "\r\n")) {
      return false;
    }
  }
  return true;
}

bool WriteExtension(std::uint64_t size, FaultySink& sink) {
  const std::string filling(16384, 'x');
  bool whole = size == 0 || sink.Write(";");
  while (whole && size > 0) {
    const std::uint64_t piece = std::min<std::uint64_t>(size, filling.size());
    whole = sink.Write(std::string_view(filling).substr(0, piece));
    size -= piece;
  }
  return whole;
}

bool WriteChunk(std::string_view bytes, const Fault& fault, FaultySink& sink) {
  std::array<char, 16> size{};
  const auto end = std::to_chars(size.data(), size.data() + size.size(), bytes.size(), 16).ptr;
  const std::string_view digits(size.data(), static_cast<std::size_t>(end - size.data()));
  return sink.Write(digits) && WriteExtension(fault.chunkExtension, sink) && sink.Write("\r\n") && sink.Write(bytes) &&
         sink.Write("\r\n");
}

bool WriteSource(const Fault& fault, const HttpResponse& response, FaultySink& sink) {
  std::string piece;
  for (bool more = true; more; piece.clear()) {
    more = response.source(piece);
    if (!piece.empty() && !WriteChunk(piece, fault, sink)) {
      return false;
    }
  }
  return true;
}

bool WriteChunked(const Fault& fault, const HttpResponse& response, FaultySink& sink) {
  if (response.source && !WriteSource(fault, response, sink)) {
    return false;
  }
  constexpr std::size_t kChunkSize = 16384;
  do {
    for (std::string_view rest = response.body; !rest.empty(); rest.remove_prefix(std::min(kChunkSize, rest.size()))) {
      if (!WriteChunk(rest.substr(0, kChunkSize), fault, sink)) {
        return false;
      }
    }
  } while (fault.endless && !response.body.empty());
  if (!sink.Write("0\r\n") || !WriteHeaderFlood(fault.trailerFlood, sink)) {
    return false;
  }
  std::string tail;
  for (const auto& [name, value] : response.trailers) {
    tail.append(name).append(": ").append(value).append("\r\n");
  }
  return sink.Write(tail + "\r\n");
}

bool WriteTimes(const std::string& body, std::uint64_t times, FaultySink& sink) {
  constexpr std::size_t kBlockSize = 262'144;
  if (body.empty()) {
    return true;
  }
  const std::uint64_t inBlock = std::min<std::uint64_t>(times, kBlockSize / body.size() + 1);
  const std::string block = inBlock == 1 ? body : Repeat(body, inBlock);
  for (; times >= inBlock && times > 0; times -= inBlock) {
    if (!sink.Write(block)) {
      return false;
    }
  }
  return sink.Write(std::string_view(block).substr(0, body.size() * times));
}

/// Head and body, the whole of a short answer as one write.
bool WriteMessage(const HttpRequest& request, const Fault& fault, const HttpResponse& response, std::uint64_t bodyTimes,
                  FaultySink& sink) {
  constexpr std::size_t kShortBody = 16384;
  std::string head = ComposeHead(request, fault, response, bodyTimes);
  if (fault.headerFlood > 0) {
    if (!sink.Write(head) || !WriteHeaderFlood(fault.headerFlood, sink)) {
      return false;
    }
    head.clear();
  }
  head += "\r\n";
  const bool plain = !response.chunked && !fault.endless && !fault.cutBody && bodyTimes == 1;
  if (plain && !request.IsHead() && response.body.size() <= kShortBody) {
    return sink.Write(head + response.body);
  }
  if (!sink.Write(head)) {
    return false;
  }
  if (request.IsHead()) {
    return true;
  }
  sink.CutAfter(fault.cutBody.value_or(kNoLimit));
  if (response.chunked) {
    return WriteChunked(fault, response, sink);
  }
  return WriteTimes(response.body, fault.endless ? kNoLimit : bodyTimes, sink);
}

bool WriteGarbage(std::uint64_t count, FaultySink& sink) {
  std::uint32_t state = 0x2545F491;
  std::string bytes;
  for (; count > 0 && bytes.size() < count; bytes += static_cast<char>(state >> 24)) {
    state = state * 1664525 + 1013904223;
  }
  return sink.Write(bytes);
}

Fault::End OrClose(Fault::End end) {
  return end == Fault::End::Keep ? Fault::End::Close : end;
}

}  // namespace

Fault::End WriteResponse(const HttpRequest& request, HttpResponse response, ByteSink& sink) {
  const Fault fault = response.fault.value_or(Fault{});
  if (fault.delay.count() > 0 && !sink.Wait(fault.delay)) {
    return Fault::End::Close;
  }
  FaultySink faulty(fault, sink);
  if (fault.garbage > 0) {
    WriteGarbage(fault.garbage, faulty);
    return OrClose(fault.end);
  }
  ChangeMessage(fault, response);
  const std::uint64_t bodyTimes = EncodeBody(request, fault, response);
  const bool whole = WriteMessage(request, fault, response, bodyTimes, faulty);
  const bool delimited = response.chunked || !(fault.endless || fault.contentLength);
  return whole && delimited && request.keepAlive ? fault.end : OrClose(fault.end);
}

Fault::End ApplyConnectionFault(const Fault& fault, ByteSink& sink) {
  if (fault.delay.count() > 0 && !sink.Wait(fault.delay)) {
    return Fault::End::Close;
  }
  if (fault.garbage > 0) {
    FaultySink faulty(fault, sink);
    WriteGarbage(fault.garbage, faulty);
    return OrClose(fault.end);
  }
  return fault.end;
}

}  // namespace Kelvar::Simulator
