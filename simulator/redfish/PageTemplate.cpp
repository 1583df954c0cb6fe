#include "simulator/redfish/PageTemplate.h"

#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "simulator/redfish/MadeTime.h"

namespace Kelvar::Simulator {

namespace {

using rapidjson::Value;

/// Values of variables by name.
using Scope = std::map<std::string, const Value*, std::less<>>;

std::string TextOf(const Value& value) {
  if (value.IsString()) {
    return value.GetString();
  }
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return buffer.GetString();
}

class PageTemplate {
 public:
  explicit PageTemplate(rapidjson::Document& made) : allocator_(made.GetAllocator()) {}

  /// The value with all its templates filled in.
  Value Fill(const Value& value, const Scope& scope) {
    if (value.IsString()) {
      return FillText({value.GetString(), value.GetStringLength()}, scope);
    }
    if (value.IsArray()) {
      Value filled(rapidjson::kArrayType);
      for (const Value& element : value.GetArray()) {
        AddElement(filled, element, scope);
      }
      return filled;
    }
    if (value.IsObject()) {
      Value filled(rapidjson::kObjectType);
      for (const auto& [key, member] : value.GetObject()) {
        Value content = Fill(member, scope);
        const std::string_view name(key.GetString());
        if (content.IsNumber() && (name == "Id" || name == "MemberId")) {
          content.SetString(TextOf(content).c_str(), allocator_);
        }
        if (!content.IsString() || std::string_view(content.GetString()) != "@absent") {
          filled.AddMember(FillText({key.GetString(), key.GetStringLength()}, scope), content, allocator_);
        }
      }
      return filled;
    }
    return {value, allocator_};
  }

 private:
  void AddElement(Value& array, const Value& element, const Scope& scope) {
    const bool isTemplate = element.IsObject() && element.HasMember("@each") && element.HasMember("@items");
    if (!isTemplate) {
      array.PushBack(Fill(element, scope), allocator_);
      return;
    }
    const Value& rows = element["@each"];
    if (rows.IsObject()) {
      AddRange(array, element["@items"], rows, scope);
    } else {
      AddRows(array, element["@items"], rows, scope);
    }
  }

  void AddRange(Value& array, const Value& items, const Value& range, const Scope& scope) {
    for (const auto& [name, bounds] : range.GetObject()) {
      if (bounds.IsString()) {
        AddElementsOf(array, items, name.GetString(), Fill(bounds, scope), scope);
        continue;
      }
      if (!bounds.IsArray() || bounds.Size() != 2 || !bounds[0].IsInt() || !bounds[1].IsInt()) {
        throw std::runtime_error("\"@each\": expected a first and a last number of " + TextOf(name));
      }
      for (int number = bounds[0].GetInt(); number <= bounds[1].GetInt(); ++number) {
        const Value value(number);
        Scope inner = scope;
        inner[name.GetString()] = &value;
        AddItems(array, items, inner);
      }
    }
  }

  void AddElementsOf(Value& array, const Value& items, const std::string& name, const Value& list, const Scope& scope) {
    if (!list.IsArray()) {
      throw std::runtime_error("\"@each\": expected a list for " + name + ", not " + TextOf(list));
    }
    for (const Value& element : list.GetArray()) {
      Scope inner = scope;
      inner[name] = &element;
      AddItems(array, items, inner);
    }
  }

  void AddRows(Value& array, const Value& items, const Value& rows, const Scope& scope) {
    if (!rows.IsArray() || rows.Empty() || !rows[0].IsArray()) {
      throw std::runtime_error("\"@each\": expected a list of names, then rows");
    }
    for (rapidjson::SizeType row = 1; row < rows.Size(); ++row) {
      if (!rows[row].IsArray() || rows[row].Size() != rows[0].Size()) {
        throw std::runtime_error("\"@each\": a row needs a value for each name: " + TextOf(rows[row]));
      }
      Scope inner = scope;
      for (rapidjson::SizeType column = 0; column < rows[0].Size(); ++column) {
        inner[TextOf(rows[0][column])] = &rows[row][column];
      }
      AddItems(array, items, inner);
    }
  }

  void AddItems(Value& array, const Value& items, const Scope& scope) {
    for (const Value& item : items.GetArray()) {
      AddElement(array, item, scope);
    }
  }

  Value FillText(std::string_view text, const Scope& scope) {
    std::string filled;
    while (!text.empty()) {
      const std::size_t open = text.find('{');
      const std::size_t close = text.find('}', open);
      if (close == std::string_view::npos) {
        break;
      }
      auto value = Evaluate(text.substr(open + 1, close - open - 1), scope);
      if (value && filled.empty() && open == 0 && close + 1 == text.size()) {
        return std::move(*value);
      }
      filled += text.substr(0, open);
      filled += value ? TextOf(*value) : std::string(text.substr(open, close + 1 - open));
      text.remove_prefix(close + 1);
    }
    filled += text;
    return {filled.c_str(), static_cast<rapidjson::SizeType>(filled.size()), allocator_};
  }

  /// `number` times the factor and plus the offset of "FACTOR" or "FACTOR+OFFSET"; an integer when both are.
  static Value Linear(double number, const std::string& term) {
    const std::size_t sign = term.find_first_of("+-", 1);
    double factor = 0;
    double offset = 0;
    try {
      factor = std::stod(term);
      offset = sign == std::string::npos ? 0 : std::stod(term.substr(sign));
    } catch (const std::logic_error&) {
      throw std::runtime_error("expected \"FACTOR+OFFSET\", not \"" + term + '"');
    }
    const double sum = number * factor + offset;
    const bool whole = term.find('.') == std::string::npos;
    return whole ? Value(static_cast<std::int64_t>(std::llround(sum))) : Value(std::round(sum * 1000) / 1000);
  }

  /// What stands for an expression between braces, or nothing when it is none.
  std::optional<Value> Evaluate(std::string_view expression, const Scope& scope) {
    const std::size_t operation = expression.find_first_of("*@");
    const auto variable = scope.find(expression.substr(0, operation));
    if (variable == scope.end()) {
      return std::nullopt;
    }
    if (operation == std::string_view::npos) {
      return Value(*variable->second, allocator_);
    }
    if (!variable->second->IsNumber()) {
      throw std::runtime_error(fmt::format("{{{}}}: expected a number, not {}", expression, TextOf(*variable->second)));
    }
    const double number = variable->second->GetDouble();
    return expression[operation] == '@' ? Value(MadeTime(number).c_str(), allocator_)
                                        : Linear(number, std::string(expression.substr(operation + 1)));
  }

  rapidjson::Document::AllocatorType& allocator_;
};

}  // namespace

void ReadPages(const std::string& json,
               const std::function<void(const std::string& path, const std::string& text)>& page) {
  rapidjson::Document file;
  if (file.Parse<rapidjson::kParseIterativeFlag>(json.c_str()).HasParseError() || !file.IsArray()) {
    throw std::runtime_error(fmt::format("expected a JSON list of pages; {} at byte {}",
                                         rapidjson::GetParseError_En(file.GetParseError()), file.GetErrorOffset()));
  }
  rapidjson::Document made;
  const Value pages = PageTemplate(made).Fill(file, {});
  for (const Value& resource : pages.GetArray()) {
    if (!resource.IsObject() || !resource.HasMember("@odata.id") || !resource["@odata.id"].IsString()) {
      throw std::runtime_error("a page without \"@odata.id\"");
    }
    std::string path = resource["@odata.id"].GetString();
    if (path.ends_with('/')) {
      path.pop_back();
    }
    page(path, TextOf(resource));
  }
}

}  // namespace Kelvar::Simulator
