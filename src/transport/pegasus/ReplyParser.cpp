#include "transport/pegasus/ReplyParser.h"

#include <expat.h>

#include <algorithm>
#include <new>

namespace Pegasus::Detail {

namespace {

/// How much the XML parser gets at once, so that an endless token is noticed in time.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

String Message(std::string_view a, std::string_view b, std::string_view c = {}) {
  std::string text(a);
  text.append(b).append(c);
  return String(std::string_view(text));
}

}  // namespace

/// The XML parser's handlers. No exception may pass through it: the first one is kept, and stops the parser.
struct ReplyCallbacks {
  template <typename Action>
  static void Guard(void* data, Action action) noexcept {
    auto& reader = *static_cast<ReplyParser*>(data);
    if (reader.failure_) {
      return;
    }
    try {
      action(reader);
    } catch (...) {
      reader.failure_ = std::current_exception();
      XML_StopParser(reader.parser_.get(), XML_FALSE);
    }
  }

  static void XMLCALL Start(void* data, const char* name, const char** attributes) noexcept {
    Guard(data, [&](ReplyParser& reader) { reader.StartElement(name, attributes); });
  }
  static void XMLCALL End(void* data, const char* /*name*/) noexcept {
    Guard(data, [](ReplyParser& reader) { reader.EndElement(); });
  }
  static void XMLCALL Text(void* data, const char* text, int length) noexcept {
    Guard(data, [&](ReplyParser& reader) { reader.Text({text, static_cast<std::size_t>(length)}); });
  }
  static void XMLCALL StartCdata(void* data) noexcept {
    Guard(data, [](ReplyParser& reader) { reader.inCdata_ = true; });
  }
  static void XMLCALL EndCdata(void* data) noexcept {
    Guard(data, [](ReplyParser& reader) { reader.inCdata_ = false; });
  }
  static void XMLCALL Doctype(void* data, const char* /*name*/, const char* /*system*/, const char* /*publicId*/,
                              int /*internal*/) noexcept {
    Guard(data, [](ReplyParser& reader) { reader.FailValidation("a DOCTYPE is not accepted"); });
  }
};

void ReplyParser::ParserFree::operator()(XML_ParserStruct* parser) const noexcept {
  XML_ParserFree(parser);
}

ReplyParser::ReplyParser(std::string messageId, const ReplyLimits& limits)
    : messageId_(std::move(messageId)),
      limits_(limits),
      parser_(XML_ParserCreate(nullptr)),
      open_{Element::Document},
      store_(std::make_shared<InstanceStore>()),
      types_(*store_) {
  if (!parser_) {
    throw std::bad_alloc();
  }
  XML_SetUserData(parser_.get(), this);
  XML_SetElementHandler(parser_.get(), ReplyCallbacks::Start, ReplyCallbacks::End);
  XML_SetCharacterDataHandler(parser_.get(), ReplyCallbacks::Text);
  XML_SetCdataSectionHandler(parser_.get(), ReplyCallbacks::StartCdata, ReplyCallbacks::EndCdata);
  XML_SetStartDoctypeDeclHandler(parser_.get(), ReplyCallbacks::Doctype);
}

ReplyParser::~ReplyParser() = default;

void ReplyParser::Feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, kPiece);
    bytes.remove_prefix(piece.size());
    fed_ += piece.size();
    if (fed_ > limits_.bytes) {
      FailLimit("more than " + std::to_string(limits_.bytes) + " bytes");
    }
    if (held_.size() + piece.size() < std::min(unread_, kPiece)) {
      held_ += piece;
    } else if (held_.empty()) {
      Parse(sanitizer_.Take(piece), false);
    } else {
      held_ += piece;
      Parse(sanitizer_.Take(held_), false);
      held_.clear();
    }
  }
}

void ReplyParser::Parse(std::string_view bytes, bool last) {
  parsed_ += bytes.size();
  Check(XML_Parse(parser_.get(), bytes.data(), static_cast<int>(bytes.size()), last ? XML_TRUE : XML_FALSE));
  const auto read = static_cast<std::size_t>(std::max<XML_Index>(0, XML_GetCurrentByteIndex(parser_.get())));
  unread_ = parsed_ - std::min(parsed_, read);
  if (unread_ > limits_.tokenBytes) {
    FailLimit("a token of more than " + std::to_string(limits_.tokenBytes) + " bytes");
  }
}

Array<CIMInstance> ReplyParser::Finish() {
  Parse(sanitizer_.Take(held_), false);
  Parse(sanitizer_.Finish(), true);
  if (!answered_) {
    FailSemantics("no IMETHODRESPONSE");
  }
  if (error_) {
    throw CIMException(*error_);
  }
  Array<CIMInstance> instances;
  instances.reserveCapacity(static_cast<Uint32>(records_.size()));
  for (const InstanceRecord* const record : records_) {
    instances.append(CIMInstance(CIMObjectPath(String(SharedText{store_, record->Path()})), record));
  }
  return instances;
}

void ReplyParser::Check(int status) {
  if (failure_) {
    std::rethrow_exception(failure_);
  }
  if (status == XML_STATUS_ERROR) {
    const XML_Error error = XML_GetErrorCode(parser_.get());
    if (error == XML_ERROR_NO_MEMORY) {
      throw std::bad_alloc();
    }
    FailValidation(XML_ErrorString(error));
  }
}

std::string ReplyParser::Line() const {
  return "on line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": ";
}

void ReplyParser::FailValidation(std::string_view what) const {
  throw CIMClientXmlException(Message("Validation error: ", Line(), what));
}

void ReplyParser::FailLimit(std::string_view what) const {
  throw ReplyTooLargeException(Message("Validation error: ", Line(), what));
}

void ReplyParser::FailSemantics(std::string_view what) const {
  throw CIMClientXmlException(Message("Semantic error: ", Line(), what));
}

Element ReplyParser::Parent() const noexcept {
  return open_[open_.size() - 2];
}

void ReplyParser::StartElement(const char* name, const char** attributes) {
  if (open_.size() + skipped_ > limits_.depth) {
    FailLimit("elements nested more than " + std::to_string(limits_.depth) + " deep");
  }
  const int attributeTexts = XML_GetSpecifiedAttributeCount(parser_.get());
  if (static_cast<std::size_t>(attributeTexts) / 2 > limits_.attributes) {
    FailLimit("more than " + std::to_string(limits_.attributes) + " attributes");
  }
  if (skipped_ != 0) {
    ++skipped_;
    return;
  }
  const Element element = ChildElement(open_.back(), name);
  if (element == Element::Unknown) {
    if (open_.back() == Element::Document) {
      throw ForeignReplyException(Message("Semantic error: ", Line(), "the root element is not CIM"));
    }
    skipped_ = 1;
    return;
  }
  open_.push_back(element);
  Open(element, attributes);
}

void ReplyParser::EndElement() {
  if (skipped_ != 0) {
    --skipped_;
    return;
  }
  Close(open_.back());
  open_.pop_back();
}

void ReplyParser::Text(std::string_view text) {
  if (!collecting_ || skipped_ != 0) {
    return;
  }
  // A reference takes at least four bytes of the reply, and gives fewer.
  const auto written = static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()));
  text_.Append(text, inCdata_ || (written >= 4 && text.size() < written));
  if (text_.Size() > limits_.valueBytes) {
    FailLongValue();
  }
}

}  // namespace Pegasus::Detail
