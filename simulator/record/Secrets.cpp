#include "simulator/record/Secrets.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include <rapidjson/reader.h>

namespace Kelvar::Simulator {

namespace {

// Ends of names, in lower case and without separators. "key" is the end of most of them: PrivateKey, EncryptionKey,
// AuthenticationKey, AccessKey, PreSharedKey, LicenseKey, SecretKey.
constexpr std::array<std::string_view, 27> kEndings{
    "password",      "passwords",  "passwd",      "pwd",           "passphrase",  "passcode",         "passwordhash",
    "secret",        "secrets",    "key",         "keys",          "keystring",   "keytab",           "keymaterial",
    "token",         "tokens",     "credential",  "credentials",   "community",   "cookie",           "communitystring",
    "authorization", "httpheader", "httpheaders", "licensestring", "signingkeys", "certificatestring"};
constexpr std::array<std::string_view, 6> kWhole{"pin", "psk", "otp", "pem", "communityname", "entitlementid"};
// What ends like these and is none.
constexpr std::array<std::string_view, 6> kHarmless{"hotkey",  "hotkeys",    "messagekey",
                                                    "sortkey", "numlockkey", "monkey"};

constexpr std::array<std::string_view, 20> kStates{
    "enabled", "disabled", "true",     "false",    "yes",      "no",    "on",      "off",  "auto",    "default",
    "set",     "not set",  "required", "optional", "disallow", "allow", "present", "none", "unknown", "installed"};

constexpr std::array<std::string_view, 8> kNameKeys{"name", "attributename", "displayname", "id",
                                                    "key",  "property",      "parameter",   "type"};

/// In lower case, letters and digits alone.
std::string Plain(std::string_view text) {
  std::string plain;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (std::isalnum(byte) != 0) {
      plain += static_cast<char>(std::tolower(byte));
    }
  }
  return plain;
}

template <std::size_t kSize>
bool Has(const std::array<std::string_view, kSize>& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool IsHash(std::string_view value) {
  // "$6$salt$...", as of crypt(3)
  return value.size() > 3 && value.front() == '$' && std::isdigit(static_cast<unsigned char>(value[1])) != 0 &&
         std::count(value.begin(), value.end(), '$') >= 3;
}

/// Finds the objects that name a secret.
class SecretFinder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, SecretFinder> {
 public:
  bool StartObject() {
    open_.push_back({count_++, {}});
    return true;
  }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    open_.back().key = Plain({text, length});
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    if (!open_.empty() && Has(kNameKeys, open_.back().key) && IsSecretKey({text, length})) {
      found.insert(open_.back().number);
    }
    return true;
  }
  bool EndObject(rapidjson::SizeType) {
    open_.pop_back();
    return true;
  }

  std::set<std::size_t> found;

 private:
  struct Object {
    std::size_t number;
    std::string key;
  };
  std::vector<Object> open_;
  std::size_t count_ = 0;
};

}  // namespace

bool IsSecretKey(std::string_view key) {
  if (key.find('@') != std::string_view::npos) {  // annotations tell of a member, and do not hold its value
    return false;
  }
  const std::string plain = Plain(key);
  return !Has(kHarmless, plain) &&
         (Has(kWhole, plain) || std::any_of(kEndings.begin(), kEndings.end(),
                                            [&plain](std::string_view ending) { return plain.ends_with(ending); }));
}

bool IsSecretValue(std::string_view value) {
  constexpr std::array<std::string_view, 7> kStarts{"Basic ", "Bearer ", "ssh-",       "ecdsa-sha2-",
                                                    "eyJ",    "DHHC-1:", "NVMeTLSkey-"};
  return value.find("-----BEGIN ") != std::string_view::npos || IsHash(value) ||
         std::any_of(kStarts.begin(), kStarts.end(), [value](std::string_view start) {
           constexpr std::size_t kShortest = 12;  // "ssh-rsa" alone is the name of an algorithm
           return value.size() >= start.size() + kShortest && value.starts_with(start);
         });
}

std::string_view UserInformation(std::string_view value) {
  const std::size_t scheme = value.find("://");
  if (scheme == std::string_view::npos) {
    return {};
  }
  const std::string_view authority = value.substr(scheme + 3, value.find_first_of("/?# ", scheme + 3) - scheme - 3);
  const std::size_t at = authority.rfind('@');
  return at == std::string_view::npos ? std::string_view() : authority.substr(0, at);
}

bool IsSecretState(std::string_view value) {
  std::string lower(value);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return Has(kStates, lower);
}

std::set<std::size_t> ObjectsOfSecrets(const std::string& page) {
  SecretFinder finder;
  rapidjson::Reader reader;
  rapidjson::StringStream stream(page.c_str());
  reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream, finder);
  return std::move(finder.found);
}

bool IsValueKey(std::string_view key) {
  const std::string plain = Plain(key);
  return plain.ends_with("value") || plain.ends_with("values");
}

}  // namespace Kelvar::Simulator
