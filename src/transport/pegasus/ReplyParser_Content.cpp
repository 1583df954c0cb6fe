#include <charconv>
#include <cstring>

#include "transport/pegasus/ReplyParser.h"
#include "transport/pegasus/ValueCodec.h"

namespace Pegasus::Detail {

namespace {

constexpr std::size_t kMaxKeys = 256;

/// Empty when the element lacks it.
std::string_view Attribute(const char** attributes, std::string_view name) noexcept {
  for (; *attributes != nullptr; attributes += 2) {
    if (attributes[0] == name) {
      return attributes[1];
    }
  }
  return {};
}

}  // namespace

void ReplyParser::Open(Element element, const char** attributes) {
  switch (element) {
    case Element::Message:
      return OpenMessage(attributes);
    case Element::MethodResponse:
      answered_ = true;
      return;
    case Element::Error:
      return OpenError(attributes);
    case Element::NamedInstance:
      return draft_.Clear();
    case Element::Instance:
      if (draft_.path.empty()) {
        draft_.path = Attribute(attributes, "CLASSNAME");
      }
      return types_.StartInstance();
    case Element::Property:
    case Element::PropertyArray:
    case Element::PropertyReference:
      return OpenProperty(element, attributes);
    case Element::Qualifier:
      return OpenQualifier(attributes);
    case Element::ValueArray:
      value_->isArray = true;
      value_->isNull = false;
      return;
    case Element::ValueNull:
      CountValue();
      return value_->SetNullElement();
    case Element::ValueReference:
      return reference_.clear();
    case Element::ObjectPath:
    case Element::InstanceName:
    case Element::ClassName:
    case Element::Namespace:
    case Element::KeyBinding:
      return OpenPathElement(element, attributes);
    case Element::KeyValue:
      keyType_ = Attribute(attributes, "VALUETYPE");
      [[fallthrough]];
    case Element::Value:
    case Element::Host:
      text_.Start();
      collecting_ = true;
      return;
    default:
      return;
  }
}

void ReplyParser::Close(Element element) {
  switch (element) {
    case Element::Value:
      return CloseValue();
    case Element::KeyValue:
      collecting_ = false;
      return AddKey(keyType_, text_.Finish());
    case Element::Host:
      collecting_ = false;
      Path().host = text_.Finish();
      return;
    case Element::Qualifier:
      return CloseQualifier();
    case Element::Property:
    case Element::PropertyArray:
    case Element::PropertyReference:
      return CloseProperty();
    case Element::ObjectPath:
      return ClosePath();
    case Element::InstanceName:
    case Element::ClassName:
      return Parent() == Element::ObjectPath ? void() : ClosePath();
    case Element::ValueReference:
      return CloseReference();
    case Element::Instance:
      return CloseInstance();
    default:
      return;
  }
}

void ReplyParser::OpenMessage(const char** attributes) {
  const std::string_view id = Attribute(attributes, "ID");
  if (id == messageId_) {
    return;
  }
  std::string text = "Mismatched response message ID:  Got \"";
  text.append(id).append("\", expected \"").append(messageId_).append("\".");
  throw CIMClientResponseException(String(std::string_view(text)));
}

void ReplyParser::OpenError(const char** attributes) {
  const std::string_view code = Attribute(attributes, "CODE");
  int number = CIM_ERR_FAILED;
  (void)std::from_chars(code.data(), code.data() + code.size(), number);
  std::string description(Attribute(attributes, "DESCRIPTION"));
  RestoreControls(description);
  error_ = std::make_unique<CIMException>(static_cast<CIMStatusCode>(number), String(std::string_view(description)));
}

void ReplyParser::OpenProperty(Element element, const char** attributes) {
  CountValue();
  const CIMType type =
      element == Element::PropertyReference ? CIMTYPE_REFERENCE : TypeNamed(Attribute(attributes, "TYPE"));
  property_.Start(Attribute(attributes, "NAME"), type, element == Element::PropertyArray);
  qualifiers_.clear();
  qualifierBytes_ = 0;
  value_ = &property_;
}

void ReplyParser::OpenQualifier(const char** attributes) {
  qualifier_.Start(Attribute(attributes, "NAME"), TypeNamed(Attribute(attributes, "TYPE")), false);
  value_ = &qualifier_;
}

void ReplyParser::CountValue() {
  if (++valueCount_ > limits_.values) {
    FailLimit("more than " + std::to_string(limits_.values) + " values");
  }
}

void ReplyParser::CloseValue() {
  collecting_ = false;
  if (value_->isArray) {
    CountValue();
  }
  if (!value_->Set(text_.Finish())) {
    FailSemantics("the value of " + value_->name.substr(0, 100) + " does not fit its type");
  }
  if (value_->stored.size() > limits_.valueBytes) {
    FailLongValue();
  }
}

void ReplyParser::CloseQualifier() {
  if (qualifiers_.size() == PropertyTypeTable::kMaxQualifiers) {
    FailValidation("too many qualifiers");
  }
  qualifierBytes_ += qualifier_.name.size() + qualifier_.stored.size();
  if (qualifierBytes_ > limits_.valueBytes) {
    FailLongValue();
  }
  if (IsLegalName(qualifier_.name)) {
    qualifiers_.emplace_back(CIMName(String(std::string_view(qualifier_.name))), qualifier_.Value());
  }
  value_ = &property_;
}

void ReplyParser::CloseProperty() {
  if (!IsLegalName(property_.name)) {
    return;
  }
  Uint16 typeNumber = 0;
  if (!types_.Find(property_.name, property_.type, property_.isArray, qualifiers_, typeNumber)) {
    FailValidation("too many different properties");
  }
  CheckKept();
  draft_.AddProperty(typeNumber, property_.stored, property_.isNull);
  if (draft_.texts.size() > limits_.instanceBytes) {
    FailLimit("an instance of more than " + std::to_string(limits_.instanceBytes) + " bytes");
  }
}

void ReplyParser::CheckKept() const {
  if (store_->Bytes() > limits_.keptBytes) {
    FailLimit("instances of more than " + std::to_string(limits_.keptBytes) + " bytes");
  }
}

void ReplyParser::OpenPathElement(Element element, const char** attributes) {
  // The name of a class or instance is inside the path that its parent opened, or is one by itself.
  if (element == Element::ObjectPath ||
      ((element == Element::InstanceName || element == Element::ClassName) && Parent() != Element::ObjectPath)) {
    OpenPath();
  }
  if (element == Element::InstanceName) {
    Path().className = Attribute(attributes, "CLASSNAME");
  } else if (element == Element::ClassName) {
    Path().className = Attribute(attributes, "NAME");
  } else if (element == Element::Namespace) {
    Path().AddNamespacePart(Attribute(attributes, "NAME"));
  } else if (element == Element::KeyBinding) {
    if (Path().KeyCount() == kMaxKeys) {
      FailValidation("too many keys");
    }
    Path().keyName = Attribute(attributes, "NAME");
  }
}

void ReplyParser::OpenPath() {
  if (pathCount_ == paths_.size()) {
    paths_.emplace_back();
  }
  paths_[pathCount_++].Clear();
}

void ReplyParser::ClosePath() {
  const bool ofInstance = Parent() == Element::NamedInstance;
  std::string& text = ofInstance ? draft_.path : reference_;
  text.clear();
  if (ofInstance) {
    Path().AppendModelPathTo(text);
  } else {
    Path().AppendTo(text);
  }
  --pathCount_;
  if (text.size() > ObjectPathBuilder::kMaxBytes) {
    FailLongPath();
  }
  pathBytes_ += text.size();
  if (pathBytes_ > limits_.pathBytes) {
    FailLimit("object paths of more than " + std::to_string(limits_.pathBytes) + " bytes");
  }
}

void ReplyParser::AddKey(std::string_view valueType, std::string_view value) {
  if (!Path().AddKey(valueType, value)) {
    FailLongPath();
  }
}

void ReplyParser::FailLongValue() const {
  FailLimit("a value of more than " + std::to_string(limits_.valueBytes) + " bytes");
}

void ReplyParser::FailLongPath() const {
  FailLimit("an object path of more than " + std::to_string(ObjectPathBuilder::kMaxBytes) + " bytes");
}

void ReplyParser::CloseReference() {
  if (Parent() == Element::KeyBinding) {
    return AddKey("reference", reference_);
  }
  property_.Set(reference_);
}

void ReplyParser::CloseInstance() {
  if (records_.size() == limits_.instances) {
    FailLimit("more than " + std::to_string(limits_.instances) + " instances");
  }
  records_.push_back(store_->Add(draft_));
  CheckKept();
  draft_.Clear();
}

}  // namespace Pegasus::Detail
