// Any text through the bounds and the readers: what is read in place is what the property tree's parser reads, and a
// text that is accepted in place is one that the parser accepts.

#include <optional>

#include <kelvar/Log.h>

#include "common/json/JsonDocument.h"
#include "common/json/JsonText.h"
#include "common/json/JsonTree.h"
#include "fuzz/Check.h"

using namespace Kelvar;

namespace {

void CheckSame(const JsonNode& node, const JsonSlice& slice) {
  FUZZ_CHECK(node.Value() == slice.Text());
  const auto children = node.Children();
  std::size_t index = 0;
  slice.ForEach([&](const JsonSlice& child, std::string_view) -> const char* {
    FUZZ_CHECK(index < children.size());
    CheckSame(children[index++], child);
    return nullptr;
  });
  FUZZ_CHECK(index == children.size());
}

void CheckSame(const JsonNode& node, const JsonNode& other) {
  FUZZ_CHECK(node.Value() == other.Value());
  FUZZ_CHECK(node.Text("a.b", "?") == other.Text("a.b", "?"));
  const auto children = node.Children();
  const auto others = other.Children();
  FUZZ_CHECK(children.size() == others.size());
  for (std::size_t index = 0; index < children.size(); ++index) {
    CheckSame(children[index], others[index]);
  }
}

void CheckPaths(const JsonNode& node, const JsonSlice& slice, const char* textEnd) {
  JsonMembers members;
  const char* after = members.Load(slice);
  FUZZ_CHECK(after > slice.Start() && after <= textEnd);
  for (const char* path : {"a", "b", "a.b", "a.a.b", "Oem.Tavrik.Hidden", "Members"}) {
    const auto found = members.Find(path);
    FUZZ_CHECK(node.Text(path, "?") == (found ? found->Text() : "?"));
  }
  for (const char* name : {"a", "a.b"}) {
    const auto found = slice.Find(name);
    const auto other = node.Find(name);
    FUZZ_CHECK(found.has_value() == other.has_value() && (!found || found->Text() == other->Value()));
  }
}

void Walk(const JsonValue& value) {
  value.String();
  value.Int();
  value.Number();
  value.Real();
  value["a"]["b"].String();
  for (const JsonValue& element : value.Elements()) {
    Walk(element);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  const std::string text(data, data + size);
  const bool plain = IsPlainJson(text, {});
  std::optional<JsonTree> tree;
  try {
    tree.emplace(JsonTree::ByParser(text));
    CheckSame(tree->Root(), JsonTree(text).Root());
  } catch (const boost::property_tree::ptree_error&) {
  }
  FUZZ_CHECK(tree || !plain);
  if (plain) {
    CheckSame(tree->Root(), JsonSlice::Root(text));
    CheckPaths(tree->Root(), JsonSlice::Root(text), text.data() + text.size());
  }
  const auto lenient = JsonDocument::ReadLeniently(text);
  if (lenient) {
    Walk(lenient->Root());
  }
  if (const auto document = JsonDocument::Read(text)) {
    FUZZ_CHECK(lenient);
    Walk(document->Root());
  }
  return 0;
}
