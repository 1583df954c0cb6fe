#include "simulator/cim/CimOperations.h"

#include <utility>

#include "simulator/cim/InstanceWriter.h"
#include "simulator/cim/XmlText.h"

namespace Kelvar::Simulator::Cim {

namespace {

constexpr std::size_t kPieceSize = 32 * std::size_t{1024};

Outcome Fail(Status status, std::string description) {
  return {CimError{static_cast<int>(status), std::move(description)}, nullptr};
}

std::string Head(const Request& request) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n";
  xml += "<MESSAGE ID=\"";
  AppendEscaped(xml, request.messageId);
  xml += "\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n<IMETHODRESPONSE NAME=\"";
  AppendEscaped(xml, request.method);
  xml += "\">\n";
  return xml;
}

constexpr std::string_view kTail = "</IMETHODRESPONSE>\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";

/// A reply of which everything is known at once.
Outcome Whole(const Request& request, const std::string& returned) {
  std::string xml = Head(request);
  xml.append("<IRETURNVALUE>\n").append(returned).append("</IRETURNVALUE>\n").append(kTail);
  return {std::nullopt, [text = std::move(xml), given = false](std::string& piece) mutable {
            if (!std::exchange(given, true)) {
              piece += text;
            }
            return false;
          }};
}

using AppendOne = void (*)(const InstanceWriter& writer, std::string& xml, std::size_t index);

/// Writes the instances of several classes, a piece at a time.
class InstanceStream {
 public:
  InstanceStream(std::shared_ptr<const Repository> repository, std::vector<InstanceWriter> writers,
                 const Request& request, AppendOne append)
      : repository_(std::move(repository)),
        writers_(std::make_shared<std::vector<InstanceWriter>>(std::move(writers))),
        head_(Head(request)),
        endless_(request.endless),
        append_(append) {}

  bool operator()(std::string& xml) {
    const std::size_t start = xml.size();
    if (!std::exchange(begun_, true)) {
      xml.append(head_).append("<IRETURNVALUE>\n");
    }
    for (; writer_ < writers_->size(); ++writer_, index_ = 0) {
      for (; index_ < (*writers_)[writer_].Count(); ++index_) {
        if (xml.size() - start >= kPieceSize) {
          return true;
        }
        append_((*writers_)[writer_], xml, index_);
      }
    }
    if (endless_) {
      writer_ = 0;
      xml += '\n';
      return true;
    }
    xml.append("</IRETURNVALUE>\n").append(kTail);
    return false;
  }

 private:
  // keeps what the writers refer to
  std::shared_ptr<const Repository> repository_;
  std::shared_ptr<std::vector<InstanceWriter>> writers_;
  std::string head_;
  bool endless_;
  AppendOne append_;
  bool begun_ = false;
  std::size_t writer_ = 0;
  std::size_t index_ = 0;
};

/// What every operation needs: the namespace of the request, and its class.
struct Target {
  std::shared_ptr<const Repository> repository;
  const Namespace& space;
  const Class* of;
};

Shape ShapeOf(const Request& request, const Class* seenAs) {
  return {request.includeQualifiers.value_or(false), request.includeClassOrigin, request.properties, seenAs};
}

Outcome Stream(const Target& target, const Request& request, const Shape& shape, AppendOne append) {
  std::vector<InstanceWriter> writers;
  for (const Class* member : target.space.Family(*target.of)) {
    writers.emplace_back(target.space, *member, shape);
  }
  return {std::nullopt, InstanceStream(target.repository, std::move(writers), request, append)};
}

// LocalOnly of instances is not looked at: it is deprecated, and servers give all properties whatever it says.
Outcome EnumerateInstances(const Target& target, const Request& request) {
  const Class* seenAs = request.deepInheritance.value_or(true) ? nullptr : target.of;
  return Stream(target, request, ShapeOf(request, seenAs), [](const auto& writer, std::string& xml, std::size_t index) {
    writer.AppendNamedInstance(xml, index);
  });
}

Outcome EnumerateInstanceNames(const Target& target, const Request& request) {
  return Stream(target, request, Shape(), [](const auto& writer, std::string& xml, std::size_t index) {
    AppendInstanceName(xml, writer.NameOf(index));
  });
}

bool SameKeys(const InstanceName& left, const InstanceName& right) {
  if (left.keys.size() != right.keys.size()) {
    return false;
  }
  for (const KeyBinding& key : left.keys) {
    bool found = false;
    for (const KeyBinding& other : right.keys) {
      found = found || (SameName(key.name, other.name) && key.value == other.value);
    }
    if (!found) {
      return false;
    }
  }
  return true;
}

Outcome GetInstance(const Target& target, const Request& request) {
  const InstanceWriter writer(target.space, *target.of, ShapeOf(request, nullptr));
  for (std::size_t index = 0; index < writer.Count(); ++index) {
    if (SameKeys(writer.NameOf(index), request.instanceName)) {
      std::string xml;
      writer.AppendInstance(xml, index);
      return Whole(request, xml);
    }
  }
  return Fail(Status::NotFound,
              "The requested object could not be found: no instance of " + target.of->name + " has these keys");
}

Outcome GetClass(const Target& target, const Request& request) {
  Shape shape = ShapeOf(request, nullptr);
  shape.qualifiers = request.includeQualifiers.value_or(true);
  std::string xml;
  AppendClass(xml, target.space, *target.of, request.localOnly.value_or(true), shape);
  return Whole(request, xml);
}

void AppendClassNames(std::string& xml, const Target& target, std::string_view parent, bool deep) {
  for (const Class* child : target.space.Children(parent)) {
    xml += "<CLASSNAME NAME=\"";
    AppendEscaped(xml, child->name);
    xml += "\"/>\n";
    if (deep) {
      AppendClassNames(xml, target, child->name, deep);
    }
  }
}

Outcome EnumerateClassNames(const Target& target, const Request& request) {
  std::string xml;
  const std::string_view parent = target.of == nullptr ? std::string_view() : target.of->name;
  AppendClassNames(xml, target, parent, request.deepInheritance.value_or(false));
  return Whole(request, xml);
}

struct Operation {
  std::string_view name;
  bool needsClass;
  Outcome (*run)(const Target&, const Request&);
};

constexpr Operation kOperations[] = {
    {"EnumerateInstances", true, EnumerateInstances},
    {"EnumerateInstanceNames", true, EnumerateInstanceNames},
    {"GetInstance", true, GetInstance},
    {"GetClass", true, GetClass},
    {"EnumerateClassNames", false, EnumerateClassNames},
};

const Operation* FindOperation(std::string_view name) {
  for (const Operation& operation : kOperations) {
    if (SameName(operation.name, name)) {
      return &operation;
    }
  }
  return nullptr;
}

}  // namespace

Outcome Perform(const std::shared_ptr<const Repository>& repository, const Request& request) {
  const Operation* operation = FindOperation(request.method);
  if (operation == nullptr) {
    return Fail(Status::NotSupported, "The requested operation is not supported: " + request.method);
  }
  const auto space = repository->namespaces.find(request.nameSpace);
  if (space == repository->namespaces.end()) {
    return Fail(Status::InvalidNamespace, "The specified namespace does not exist: " + request.nameSpace);
  }
  if (request.className.empty() && operation->needsClass) {
    return Fail(Status::InvalidParameter, "The parameter ClassName or InstanceName is missing");
  }
  const Class* of = space->second.Find(request.className);
  if (of == nullptr && !request.className.empty()) {
    const Status status = request.method == "GetClass" ? Status::NotFound : Status::InvalidClass;
    return Fail(status, "The specified class does not exist: " + request.className);
  }
  return operation->run({repository, space->second, of}, request);
}

std::string ErrorReply(const Request& request, const CimError& error) {
  std::string xml = Head(request) + "<ERROR CODE=\"" + std::to_string(error.code) + "\" DESCRIPTION=\"";
  AppendEscaped(xml, error.description);
  xml.append("\"/>\n").append(kTail);
  return xml;
}

}  // namespace Kelvar::Simulator::Cim
