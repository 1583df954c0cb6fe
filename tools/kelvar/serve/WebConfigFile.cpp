#include "tools/kelvar/serve/WebConfigFile.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string_view>

#include "tools/kelvar/serve/Yaml.h"

namespace Kelvar::Tool::Serve {

namespace {

template <class Value>
struct Word {
  const char* word;
  Value value;
};

constexpr Word<ClientCertificate> kClientTypes[] = {
    {"NoClientCert", ClientCertificate::None},
    {"RequestClientCert", ClientCertificate::Requested},
    {"RequireAnyClientCert", ClientCertificate::Any},
    {"VerifyClientCertIfGiven", ClientCertificate::VerifiedIfGiven},
    {"RequireAndVerifyClientCert", ClientCertificate::Verified},
};
constexpr Word<int> kVersions[] = {{"TLS12", 12}, {"TLS13", 13}};
constexpr Word<const char*> kCurves[] = {
    {"CurveP256", "P-256"}, {"CurveP384", "P-384"}, {"CurveP521", "P-521"}, {"X25519", "X25519"}};
constexpr const char* kHeaders[] = {"Content-Security-Policy", "Strict-Transport-Security", "X-Content-Type-Options",
                                    "X-Frame-Options", "X-XSS-Protection"};

class Reader {
 public:
  explicit Reader(const std::string& file)
      : file_("web configuration", file), folder_(std::filesystem::path(file).parent_path()) {}

  WebConfigFile Read() {
    file_.ForEachPair(file_.Root(), "the file", [this](const auto& key, const auto& at, const auto& value) {
      if (key == "tls_server_config") {
        config_.hasTls = true;
        tlsLine_ = YamlFile::LineOf(at);
        file_.ForEachPair(
            value, key, [this](const auto& name, const auto& where, const auto& what) { ReadTls(name, where, what); });
      } else if (key == "http_server_config") {
        file_.ForEachPair(
            value, key, [this](const auto& name, const auto& where, const auto& what) { ReadHttp(name, where, what); });
      } else if (key == "basic_auth_users") {
        file_.ForEachPair(
            value, key, [this](const auto& user, const auto& where, const auto& hash) { ReadUser(user, where, hash); });
      } else {
        RefuseKey(at, key);
      }
    });
    CheckTls();
    return std::move(config_);
  }

 private:
  [[noreturn]] void RefuseKey(const YAML::Node& at, const std::string& key) const {
    constexpr std::size_t kLongest = 40;
    const bool plain = key.size() <= kLongest && std::all_of(key.begin(), key.end(), [](char letter) {
                         return (letter >= 'a' && letter <= 'z') || letter == '_';
                       });
    file_.Refuse(at, plain ? "unknown key " + key : "unknown key");
  }

  WebText PathOf(const YAML::Node& node, const std::string& key) const {
    const std::string text = file_.TextOf(node, key);
    if (text.empty()) {
      file_.Refuse(node, key + " is empty");
    }
    return {folder_ / text, YamlFile::LineOf(node)};
  }

  template <class Value, std::size_t count>
  Value OneOf(const YAML::Node& node, const std::string& key, const Word<Value> (&words)[count]) const {
    const std::string text = file_.TextOf(node, key);
    std::string list;
    for (const Word<Value>& word : words) {
      if (text == word.word) {
        return word.value;
      }
      list += std::string(list.empty() ? "" : ", ") + word.word;
    }
    file_.Refuse(node, key + " must be one of " + list);
  }

  void ReadTls(const std::string& key, const YAML::Node& at, const YAML::Node& value) {
    WebConfigFile::Tls& tls = config_.tls;
    if (key == "cert_file") {
      tls.certificate = PathOf(value, key);
    } else if (key == "key_file") {
      tls.key = PathOf(value, key);
    } else if (key == "client_ca_file") {
      tls.clientCa = PathOf(value, key);
    } else if (key == "client_auth_type") {
      tls.client = OneOf(value, key, kClientTypes);
    } else if (key == "min_version") {
      tls.lowestVersion = OneOf(value, key, kVersions);
    } else if (key == "max_version") {
      tls.highestVersion = OneOf(value, key, kVersions);
    } else if (key == "cipher_suites") {
      file_.ForEachItem(value, key, [&](const YAML::Node& suite) {
        tls.cipherSuites.push_back({file_.TextOf(suite, "a cipher suite"), YamlFile::LineOf(suite)});
      });
    } else if (key == "curve_preferences") {
      file_.ForEachItem(value, key,
                        [&](const YAML::Node& curve) { tls.curves.emplace_back(OneOf(curve, "a curve", kCurves)); });
    } else {
      RefuseKey(at, key);
    }
  }

  void CheckTls() const {
    const WebConfigFile::Tls& tls = config_.tls;
    if (!config_.hasTls) {
      return;
    }
    const bool verified = tls.client == ClientCertificate::Verified || tls.client == ClientCertificate::VerifiedIfGiven;
    if (tls.certificate.line == 0 || tls.key.line == 0) {
      file_.Refuse(tlsLine_, "tls_server_config needs cert_file and key_file");
    }
    if (tls.lowestVersion > tls.highestVersion) {
      file_.Refuse(tlsLine_, "min_version is above max_version");
    }
    if (verified && tls.clientCa.line == 0) {
      file_.Refuse(tlsLine_, "this client_auth_type needs client_ca_file");
    }
    if (tls.client == ClientCertificate::None && tls.clientCa.line != 0) {
      file_.Refuse(tls.clientCa.line, "client_ca_file needs client_auth_type");
    }
  }

  void ReadHttp(const std::string& key, const YAML::Node& at, const YAML::Node& value) {
    if (key == "headers") {
      file_.ForEachPair(
          value, key, [this](const auto& name, const auto& where, const auto& text) { ReadHeader(name, where, text); });
    } else if (key != "http2") {
      RefuseKey(at, key);
    } else if (file_.TextOf(value, key) != "false") {
      file_.Refuse(value, "http2 must be false: HTTP/1.1 is served");
    }
  }

  void ReadHeader(const std::string& name, const YAML::Node& at, const YAML::Node& value) {
    const std::string text = file_.TextOf(value, "the value of a header");
    const bool odd = std::any_of(text.begin(), text.end(), [](char one) { return one < ' ' || one > '~'; });
    if (std::find(std::begin(kHeaders), std::end(kHeaders), name) == std::end(kHeaders)) {
      file_.Refuse(at, "this header is not one that can be set");
    }
    if (odd) {
      file_.Refuse(value, "the value of a header must be printable ASCII");
    }
    config_.headers.emplace_back(name, text);
  }

  void ReadUser(const std::string& user, const YAML::Node& at, const YAML::Node& value) {
    if (user.empty() || user.find(':') != std::string::npos) {
      file_.Refuse(at, "a user's name must not be empty or contain ':'");
    }
    const std::string hash = file_.TextOf(value, "a password's hash");
    if (!IsBcryptHash(hash)) {
      file_.Refuse(value, "a password must be hashed by bcrypt with a cost of 4 to 16");
    }
    config_.users[user] = hash;
  }

  YamlFile file_;
  const std::filesystem::path folder_;
  WebConfigFile config_;
  int tlsLine_ = 0;
};

}  // namespace

bool IsBcryptHash(const std::string& text) {
  constexpr std::string_view kKinds = "aby";
  constexpr std::size_t kSize = 60;
  constexpr std::size_t kSaltAt = 7;
  constexpr int kTen = 10;
  constexpr int kLeastCost = 4;
  constexpr int kMostCost = 16;
  const auto isDigit = [&](std::size_t at) { return text[at] >= '0' && text[at] <= '9'; };
  if (text.size() != kSize || text.compare(0, 2, "$2") != 0 || kKinds.find(text[2]) == std::string_view::npos ||
      text[3] != '$' || !isDigit(4) || !isDigit(5) || text[6] != '$') {
    return false;
  }
  const int cost = (text[4] - '0') * kTen + (text[5] - '0');
  return cost >= kLeastCost && cost <= kMostCost && std::all_of(text.begin() + kSaltAt, text.end(), [](char one) {
           return (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z') || (one >= '.' && one <= '9');
         });
}

WebConfigFile ReadWebConfigFile(const std::string& file) {
  return Reader(file).Read();
}

}  // namespace Kelvar::Tool::Serve
