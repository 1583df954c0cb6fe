#include "tools/kelvar/serve/LandingPage.h"

#include <chrono>
#include <set>

#include <curl/curl.h>
#include <fmt/format.h>

#include "common/text/Escape.h"

namespace Kelvar::Tool::Serve {

namespace {

constexpr std::size_t kMostRows = 1000;

std::string Html(const std::string& text) {
  std::string html;
  for (const char letter : Text::EscapeControl(text)) {
    switch (letter) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += letter;
    }
  }
  return html;
}

std::string Encoded(const std::string& text) {
  char* const encoded = curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size()));
  std::string copy = encoded == nullptr ? "" : encoded;
  curl_free(encoded);
  return copy;
}

std::string RowOf(const LastState& state) {
  const std::chrono::duration<double> age = std::chrono::steady_clock::now() - state.end;
  return fmt::format(
      "<tr class=\"{}\"><td><a href=\"probe?target={}&amp;module={}\">{}</a></td><td>{}</td><td>{}</td><td>{}</td>"
      "<td>{:.1f} s</td><td>{:.0f} s ago</td><td>{}</td></tr>\n",
      NameOf(state.health), Encoded(state.target), Encoded(state.module), Html(state.target), Html(state.module),
      NameOf(state.health), NameOf(state.code), state.seconds, age.count(), Html(state.reason));
}

std::string Unread(const std::string& target) {
  return fmt::format(
      "<tr><td><a href=\"probe?target={}\">{}</a></td><td></td><td></td><td>not read "
      "yet</td><td></td><td></td><td></td>"
      "</tr>\n",
      Encoded(target), Html(target));
}

/// Rows up to a bound, and how many there are more.
class Rows {
 public:
  void Add(const std::string& row) {
    if (++count_ <= kMostRows) {
      text_ += row;
    }
  }
  std::string Text() const {
    return count_ <= kMostRows
               ? text_
               : text_ + fmt::format("<tr><td colspan=\"7\">and {} more</td></tr>\n", count_ - kMostRows);
  }

 private:
  std::size_t count_ = 0;
  std::string text_;
};

std::string FormOf(const std::vector<std::string>& modules) {
  std::string options;
  for (const std::string& module : modules) {
    options += fmt::format("<option{}>{}</option>", module == "default" ? " selected" : "", Html(module));
  }
  return "<form action=\"probe\"><label>Target <input name=\"target\" size=\"40\" required "
         "placeholder=\"redfish://192.0.2.10\"></label>\n<label>Module <select name=\"module\">" +
         options + "</select></label>\n<button>Read</button></form>\n";
}

std::string TableOf(const std::vector<TargetGroup>& listed, const std::vector<LastState>& states) {
  Rows rows;
  std::set<std::string> read;
  for (const LastState& state : states) {
    rows.Add(RowOf(state));
    read.insert(state.target);
  }
  for (const TargetGroup& group : listed) {
    for (const std::string& target : group.targets) {
      if (read.insert(target).second) {
        rows.Add(Unread(target));
      }
    }
  }
  return "<table><thead><tr><th>Target</th><th>Module</th><th>Health</th><th>Reading</th><th>Took</th><th>Ended</th>"
         "<th>Reason</th></tr></thead><tbody>\n" +
         rows.Text() + "</tbody></table>\n";
}

}  // namespace

const char* const kLandingStyle =
    "body { font-family: sans-serif; margin: 2em; }\n"
    "form { margin: 1em 0; }\n"
    "table { border-collapse: collapse; }\n"
    "th, td { text-align: left; padding: 0.2em 0.8em; border-bottom: 1px solid #ccc; }\n"
    ".warning td { background: #fff3cd; color: #000; }\n"
    ".critical td { background: #f8d7da; color: #000; }\n";

std::string LandingPage(const std::vector<std::string>& modules, const std::vector<TargetGroup>& listed,
                        const std::vector<LastState>& states) {
  return "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>kelvar serve</title>\n"
         "<link rel=\"stylesheet\" href=\"style.css\"></head>\n"
         "<body><h1>kelvar serve</h1>\n<p>Metrics of servers, read through their service processors.</p>\n" +
         FormOf(modules) + TableOf(listed, states) +
         "<p><a href=\"metrics\">Metrics of this exporter</a>, <a href=\"sd\">targets for service discovery</a></p>\n"
         "</body></html>\n";
}

}  // namespace Kelvar::Tool::Serve
