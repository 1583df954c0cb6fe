#pragma once

#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <Pegasus/Client/CIMClientException.h>
#include <Pegasus/Common/Array.h>
#include <Pegasus/Common/CIMInstance.h>

#include "transport/pegasus/InstanceStore.h"
#include "transport/pegasus/ObjectPathBuilder.h"
#include "transport/pegasus/ReplyElements.h"
#include "transport/pegasus/Utf8Sanitizer.h"
#include "transport/pegasus/ValueCodec.h"

struct XML_ParserStruct;

namespace Pegasus::Detail {

/// What a reply may hold at most; anything above is refused.
struct ReplyLimits {
  std::size_t bytes = std::size_t{256} * 1024 * 1024;
  /// Of one tag, comment or processing instruction. Text between tags has no limit of its own.
  std::size_t tokenBytes = std::size_t{256} * 1024;
  std::size_t attributes = 64;
  std::size_t depth = 100;
  std::size_t instances = 500'000;
  /// What instances keep: their values, paths and names. With the records that are made of them, the process then grows
  /// by less than 512 MiB.
  std::size_t keptBytes = std::size_t{128} * 1024 * 1024;
  /// Of the values of one instance.
  std::size_t instanceBytes = std::size_t{32} * 1024 * 1024;
  /// Properties and elements of arrays.
  std::size_t values = 4'000'000;
  /// Of one value; of an array, all elements together; of qualifiers, those of one property.
  std::size_t valueBytes = std::size_t{16} * 1024 * 1024;
  /// Of all object paths. A path inside a path is quoted once more, which can double it at each level; so a short
  /// reply can hold long paths.
  std::size_t pathBytes = std::size_t{256} * 1024 * 1024;
};

/// The reply is beyond a limit.
class ReplyTooLargeException : public CIMClientXmlException {
 public:
  using CIMClientXmlException::CIMClientXmlException;
};

/// The reply is XML of another kind.
class ForeignReplyException : public CIMClientXmlException {
 public:
  using CIMClientXmlException::CIMClientXmlException;
};

/// Reads the reply to one EnumerateInstances as it arrives.
class ReplyParser {
 public:
  explicit ReplyParser(std::string messageId, const ReplyLimits& limits = {});
  ~ReplyParser();
  ReplyParser(const ReplyParser&) = delete;
  ReplyParser& operator=(const ReplyParser&) = delete;

  /// Throws CIMClientXmlException or CIMClientResponseException as soon as the reply cannot be one; nothing may
  /// follow then.
  void Feed(std::string_view bytes);

  /// The instances of the whole reply. Throws CIMException when it holds an error, CIMClientXmlException when it is
  /// not complete.
  Array<CIMInstance> Finish();

 private:
  friend struct ReplyCallbacks;

  // Called by the XML parser.
  void StartElement(const char* name, const char** attributes);
  void EndElement();
  void Text(std::string_view text);

  // What the elements mean.
  void Open(Element element, const char** attributes);
  void Close(Element element);
  void OpenMessage(const char** attributes);
  void OpenError(const char** attributes);
  void OpenProperty(Element element, const char** attributes);
  void OpenQualifier(const char** attributes);
  void OpenPathElement(Element element, const char** attributes);
  void OpenPath();
  void CloseValue();
  void CloseQualifier();
  void CloseProperty();
  void ClosePath();
  void AddKey(std::string_view valueType, std::string_view value);
  void CountValue();
  void CheckKept() const;
  void CloseReference();
  void CloseInstance();
  Element Parent() const noexcept;
  ObjectPathBuilder& Path() noexcept { return paths_[pathCount_ - 1]; }

  void Parse(std::string_view bytes, bool last);
  void Check(int status);
  [[noreturn]] void FailValidation(std::string_view what) const;
  [[noreturn]] void FailLimit(std::string_view what) const;
  [[noreturn]] void FailSemantics(std::string_view what) const;
  [[noreturn]] void FailLongPath() const;
  [[noreturn]] void FailLongValue() const;
  std::string Line() const;

  struct ParserFree {
    void operator()(XML_ParserStruct* parser) const noexcept;
  };

  const std::string messageId_;
  const ReplyLimits limits_;
  std::unique_ptr<XML_ParserStruct, ParserFree> parser_;
  std::exception_ptr failure_;
  Utf8Sanitizer sanitizer_;
  std::size_t fed_ = 0;
  std::size_t parsed_ = 0;
  /// Of the token that has begun. The XML parser reads all of it again whenever it gets more, so it gets small pieces
  /// only once they double the token.
  std::size_t unread_ = 0;
  std::string held_;

  std::vector<Element> open_;
  std::size_t skipped_ = 0;
  bool answered_ = false;
  std::unique_ptr<CIMException> error_;

  TextCollector text_;
  bool collecting_ = false;
  bool inCdata_ = false;

  // Paths inside keys of paths; those beyond the count wait for their next use.
  std::vector<ObjectPathBuilder> paths_;
  std::size_t pathCount_ = 0;
  std::size_t pathBytes_ = 0;
  std::string keyType_;
  std::string reference_;

  ValueDraft property_;
  ValueDraft qualifier_;
  ValueDraft* value_ = nullptr;
  std::size_t valueCount_ = 0;
  std::vector<CIMConstQualifier> qualifiers_;
  std::size_t qualifierBytes_ = 0;

  std::shared_ptr<InstanceStore> store_;
  PropertyTypeTable types_;
  InstanceDraft draft_;
  std::deque<const InstanceRecord*> records_;  // grows without copies
};

}  // namespace Pegasus::Detail
