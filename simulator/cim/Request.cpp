#include "simulator/cim/Request.h"

#include <pugixml.hpp>

#include "simulator/cim/XmlText.h"

namespace Kelvar::Simulator::Cim {

namespace {

/// References may be keys, and hold references in turn.
constexpr int kMaximalReferenceDepth = 8;

bool IsTrue(const pugi::xml_node& value) {
  return SameName(value.text().get(), "TRUE");
}

std::string NamespaceOf(const pugi::xml_node& path) {
  std::string name;
  for (const pugi::xml_node part : path.children("NAMESPACE")) {
    name.append(name.empty() ? "" : "/").append(part.attribute("NAME").value());
  }
  return name;
}

/// The INSTANCENAME of a reference, which may be inside a path with host and namespace.
pugi::xml_node FindInstanceName(const pugi::xml_node& reference) {
  for (const char* path : {"INSTANCEPATH", "LOCALINSTANCEPATH"}) {
    if (const pugi::xml_node found = reference.child(path)) {
      return found.child("INSTANCENAME");
    }
  }
  return reference.child("INSTANCENAME");
}

InstanceName InstanceNameOf(const pugi::xml_node& element, int depth) {
  InstanceName name{element.attribute("CLASSNAME").value(), {}};
  for (const pugi::xml_node binding : element.children("KEYBINDING")) {
    KeyBinding key;
    key.name = binding.attribute("NAME").value();
    if (const pugi::xml_node reference = binding.child("VALUE.REFERENCE")) {
      key.isReference = true;
      if (depth < kMaximalReferenceDepth) {
        AppendInstanceName(key.value, InstanceNameOf(FindInstanceName(reference), depth + 1));
      }
    } else {
      const pugi::xml_node value = binding.child("KEYVALUE");
      key.kind = value.attribute("VALUETYPE").value();
      key.value = value.text().get();
    }
    name.keys.push_back(std::move(key));
  }
  return name;
}

std::vector<std::string> TextsOf(const pugi::xml_node& array) {
  std::vector<std::string> texts;
  for (const pugi::xml_node value : array.children("VALUE")) {
    texts.emplace_back(value.text().get());
  }
  return texts;
}

void TakeParameter(const pugi::xml_node& parameter, Request& request) {
  const std::string_view name = parameter.attribute("NAME").value();
  const pugi::xml_node value = parameter.child("VALUE");
  if (SameName(name, "ClassName")) {
    request.className = parameter.child("CLASSNAME").attribute("NAME").value();
  } else if (SameName(name, "InstanceName")) {
    request.instanceName = InstanceNameOf(parameter.child("INSTANCENAME"), 0);
    request.className = request.instanceName.className;
  } else if (SameName(name, "LocalOnly")) {
    request.localOnly = IsTrue(value);
  } else if (SameName(name, "DeepInheritance")) {
    request.deepInheritance = IsTrue(value);
  } else if (SameName(name, "IncludeQualifiers")) {
    request.includeQualifiers = IsTrue(value);
  } else if (SameName(name, "IncludeClassOrigin")) {
    request.includeClassOrigin = IsTrue(value);
  } else if (SameName(name, "PropertyList")) {
    if (const pugi::xml_node list = parameter.child("VALUE.ARRAY")) {
      request.properties = TextsOf(list);
    }
  }
}

/// Versions are told apart by their major number.
bool IsMajor(const pugi::xml_attribute& version, std::string_view major) {
  return std::string_view(version.value()).starts_with(major);
}

std::optional<ProtocolError> CheckEnvelope(const pugi::xml_node& cim) {
  const pugi::xml_node message = cim.child("MESSAGE");
  if (!message) {
    return ProtocolError{400, "request-not-valid"};
  }
  if (!IsMajor(cim.attribute("CIMVERSION"), "2.")) {
    return ProtocolError{501, "unsupported-cim-version"};
  }
  if (!IsMajor(cim.attribute("DTDVERSION"), "2.")) {
    return ProtocolError{501, "unsupported-dtd-version"};
  }
  if (!IsMajor(message.attribute("PROTOCOLVERSION"), "1.")) {
    return ProtocolError{501, "unsupported-protocol-version"};
  }
  if (message.child("MULTIREQ")) {
    return ProtocolError{501, "multiple-requests-unsupported"};
  }
  if (!message.child("SIMPLEREQ")) {
    return ProtocolError{400, "request-not-valid"};
  }
  return std::nullopt;
}

}  // namespace

ParsedRequest ParseRequest(std::string_view body) {
  ParsedRequest parsed;
  pugi::xml_document document;
  if (!document.load_buffer(body.data(), body.size(), pugi::parse_default, pugi::encoding_utf8)) {
    parsed.error = ProtocolError{400, "request-not-well-formed"};
    return parsed;
  }
  const pugi::xml_node cim = document.child("CIM");
  parsed.error = CheckEnvelope(cim);
  if (parsed.error) {
    return parsed;
  }
  const pugi::xml_node message = cim.child("MESSAGE");
  Request& request = parsed.request;
  request.messageId = message.attribute("ID").value();
  const pugi::xml_node call = message.child("SIMPLEREQ").child("IMETHODCALL");
  if (!call) {
    // extrinsic methods
    parsed.error = ProtocolError{501, "unsupported-operation"};
    return parsed;
  }
  request.method = call.attribute("NAME").value();
  request.nameSpace = NamespaceOf(call.child("LOCALNAMESPACEPATH"));
  for (const pugi::xml_node parameter : call.children("IPARAMVALUE")) {
    TakeParameter(parameter, request);
  }
  return parsed;
}

}  // namespace Kelvar::Simulator::Cim
