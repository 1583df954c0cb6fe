#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

#include "common/json/JsonDocument.h"
#include "common/json/JsonLimits.h"
#include "common/json/JsonText.h"
#include "common/json/JsonTree.h"
#include "support/LogCapture.h"

namespace Kelvar {
namespace {

using boost::property_tree::ptree_error;
using Kelvar::Test::LogCapture;

std::string Nested(std::size_t depth, const std::string& open = "[", const std::string& close = "]") {
  std::string text;
  for (std::size_t level = 0; level < depth; ++level) {
    text += open;
  }
  for (std::size_t level = 0; level < depth; ++level) {
    text += close;
  }
  return text;
}

std::string Repeated(const std::string& piece, std::size_t bytes) {
  std::string text = piece;
  while (text.size() < bytes) {
    text += text;
  }
  return text;
}

bool TreeReads(const std::string& text) {
  try {
    const JsonTree tree(text);
    return true;
  } catch (const ptree_error&) {
    return false;
  }
}

/// Runs `body` on a thread with a stack of 256 KiB.
void OnSmallStack(std::function<void()> body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread{};
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &body), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(JsonLimitsTest, BoundsDepthSizeAndValues) {
  EXPECT_EQ(CheckJsonLimits(Nested(100)), nullptr);
  EXPECT_STREQ(CheckJsonLimits(Nested(101)), "JSON text nested too deep");
  EXPECT_EQ(CheckJsonLimits("\"" + Nested(500) + "\\\"" + Nested(500) + "\""), nullptr) << "brackets within a string";
  EXPECT_STREQ(CheckJsonLimits("]]]]" + Nested(101)), "JSON text nested too deep");
  EXPECT_EQ(CheckJsonLimits("\"never closed \\"), nullptr);
  EXPECT_EQ(CheckJsonLimits("[1,2,3]", {.values = 4}), nullptr);
  EXPECT_STREQ(CheckJsonLimits("[1,2,3,4]", {.values = 4}), "JSON text with too many values");
  EXPECT_STREQ(CheckJsonLimits("[1,2,3]", {.bytes = 6}), "JSON text too large");
}

TEST(JsonLimitsTest, HostileTextsEndOrderlyOnASmallStack) {
  OnSmallStack([] {
    const std::string pairs = Repeated("[1,1,", 32u << 20);
    const std::string flat = "[1" + Repeated(",1", 32u << 20) + "]";
    for (const std::string& text :
         {std::string(100'000, '['), Nested(100'000), Nested(100'000, "{\"a\":", "}"), pairs, flat}) {
      EXPECT_FALSE(TreeReads(text));
      EXPECT_FALSE(JsonDocument::Read(text));
      EXPECT_FALSE(IsPlainJson(text, {}));
    }
    EXPECT_TRUE(TreeReads(Nested(100)));
    EXPECT_TRUE(JsonDocument::Read(Nested(100)));
    EXPECT_TRUE(IsPlainJson(Nested(100), {}));
  });
}

TEST(JsonDocumentTest, LeavesALineForATextBeyondTheLimits) {
  const LogCapture log;
  EXPECT_FALSE(JsonDocument::Read(Nested(101)));
  EXPECT_TRUE(log.Has(2, "JSON text nested too deep"));
}

TEST(JsonDocumentTest, AnswersEveryQuestionOfEveryValue) {
  const auto document = JsonDocument::Read(
      R"({"text":"a\u0000b","null":null,"int":5,"minus":-2147483648,"large":2147483648,"real":5.0,"exponent":1e3,)"
      R"("huge":123456789012345678901,"beyond":1e300,"list":[1,"x"],"object":{"x":1},"text":"second"})");
  ASSERT_TRUE(document);
  const JsonValue root = document->Root();
  EXPECT_EQ(root["text"].String(), "a");
  EXPECT_TRUE(root["null"].IsNull());
  EXPECT_EQ(root["int"].Int(), 5);
  EXPECT_EQ(root["minus"].Int(), std::numeric_limits<int>::min());
  EXPECT_FALSE(root["large"].Int());
  EXPECT_FALSE(root["real"].Int());
  EXPECT_EQ(root["int"].Number(), 5.0F);
  EXPECT_FALSE(root["int"].Real());
  EXPECT_EQ(root["real"].Real(), 5.0F);
  EXPECT_EQ(root["exponent"].Real(), 1000.0F);
  EXPECT_EQ(root["huge"].Real(), 123456789012345678901.0F);
  EXPECT_FALSE(root["beyond"].Number());
  EXPECT_FALSE(root["beyond"].Real());
  EXPECT_EQ(root["list"].Elements().size(), 2u);
  EXPECT_EQ(root["object"]["x"].Int(), 1);
  for (const JsonValue& nothing : {root["none"], root["text"]["x"], root["list"]["x"], JsonValue()}) {
    EXPECT_FALSE(nothing);
    EXPECT_FALSE(nothing.IsNull() || nothing.IsArray() || nothing.IsObject() || nothing.String() || nothing.Number());
    EXPECT_TRUE(nothing.Elements().empty());
  }
  EXPECT_TRUE(JsonDocument::Read(std::string("{}\0garbage", 10)));
  EXPECT_FALSE(JsonDocument::Read("{} garbage"));
  EXPECT_FALSE(JsonDocument::Read(""));
}

TEST(JsonDocumentTest, ReadsLenientlyWhatServicesSendForJson) {
  const std::string text =
      "{\"text\":\"a\tb\\\"\r\n\u00e4\",\n\"nan\":NaN,\"low\":-Infinity,\"list\":[1,2,],\"last\":3,}";
  EXPECT_FALSE(JsonDocument::Read(text));
  const auto document = JsonDocument::ReadLeniently(text);
  ASSERT_TRUE(document);
  const JsonValue root = document->Root();
  EXPECT_EQ(root["text"].String(), "a b\"  \u00e4");
  EXPECT_FALSE(root["nan"].Double() || root["low"].Double());
  EXPECT_EQ(root["list"].Elements().size(), 2u);
  EXPECT_EQ(root["last"].Double(), 3.0);
  for (const char* const bad : {"{\"a\":\"", "{\"a\":\"\\", "{\"a\" 1}", "{,}", "[1,,2]", "{\"a\":\"\\\t\"}"}) {
    EXPECT_FALSE(JsonDocument::ReadLeniently(bad)) << bad;
  }
}

TEST(JsonTreeTest, ReadsScalarsAsTextsAndTellsWhatIsMissing) {
  const std::string text = R"({"@odata.id":"/x","a":{"b":{"c":1.50}},"t":true,"n":null,"l":["x",{"y":2}],"a":7})";
  for (const JsonTree& tree : {JsonTree(text), JsonTree::ByParser(text)}) {
    const JsonNode root = tree.Root();
    EXPECT_EQ(root.Find("@odata.id")->Value(), "/x");
    EXPECT_FALSE(root.Find("odata"));
    EXPECT_EQ(root.Text("a.b.c", "?"), "1.50");
    EXPECT_EQ(root.Text("a.b.d", "?"), "?");
    EXPECT_EQ(root.Text("a.b", "?"), "");
    EXPECT_EQ(root.Text("t", "?") + root.Text("n", "?"), "truenull");
    EXPECT_EQ(root.Child("l").Children().size(), 2u);
    EXPECT_EQ(root.Child("l").Children()[1].Text("y", "?"), "2");
    try {
      root.Child("a.x");
      FAIL();
    } catch (const ptree_error& error) {
      EXPECT_STREQ(error.what(), "No such node (a.x)");
    }
  }
}

/// All a text holds, by either way of reading it.
std::string Dump(const JsonNode& node) {
  std::string all = "<" + node.Value();
  for (const JsonNode& child : node.Children()) {
    all += Dump(child);
  }
  return all + ">";
}

std::string Dump(const JsonSlice& slice) {
  std::string all = "<" + slice.Text();
  slice.ForEach([&](const JsonSlice& child, std::string_view) -> const char* {
    all += Dump(child);
    return nullptr;
  });
  return all + ">";
}

TEST(JsonTextTest, ReadsTheSameAsTheTree) {
  for (const std::string text : {
           "{}",
           "[]",
           " \t\r\n[ ] ",
           "5",
           "\"x\"",
           "[1,2,3]",
           "{\"a\":{\"b\":[{},[],null,true,false]}}",
           "[-0, 0, -1.5e+10, 1E-2, 120.0]",
           "[\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0041\\u00e9\\u20AC\\ud83d\\ude00\\u0000\"]",
           "[\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\x7f\"]",
           "{\"a\" : 1 , \"b\" : [ 2 , 3 ] }",
           "[\"]\",\"}\",\"\\\"]\"]",
           "[\"ends in a backslash \\\\\"]",
       }) {
    ASSERT_TRUE(IsPlainJson(text, {})) << text;
    const std::string parsed = Dump(JsonTree::ByParser(text).Root());
    EXPECT_EQ(Dump(JsonSlice::Root(text)), parsed) << text;
    EXPECT_EQ(Dump(JsonTree(text).Root()), parsed) << text;
  }
}

/// Strings are scanned in words: what ends or breaks one must be seen at every place of a word, after any byte.
TEST(JsonTextTest, SeesEveryByteOfALongString) {
  for (std::size_t before = 0; before < 18; ++before) {
    for (const std::string odd :
         {"\\n", "\\\\", "\\\"", "\\u00e9", "\xc3\xa9", "\x7f", " ", "!", "#", "\"", "\n", "\x80", "\x1f"}) {
      const std::string text = "[\"" + std::string(before, '[') + odd + std::string(9, '!') + "\",\"]\"]";
      ASSERT_EQ(IsPlainJson(text, {}), TreeReads(text)) << text;
      if (TreeReads(text)) {
        const std::string parsed = Dump(JsonTree::ByParser(text).Root());
        EXPECT_EQ(Dump(JsonSlice::Root(text)), parsed) << text;
        EXPECT_EQ(Dump(JsonTree(text).Root()), parsed) << text;
        EXPECT_TRUE(JsonDocument::Read(text)) << text;
      }
    }
  }
}

TEST(JsonTextTest, RefusesWhatTheTreeRefuses) {
  for (const std::string text : {
           "",
           " ",
           "{",
           "[",
           "[1",
           "[1,]",
           "[,1]",
           "{\"a\"}",
           "{\"a\":}",
           "{\"a\":1,}",
           "{a:1}",
           "[}",
           "{]",
           "[1}",
           "[] x",
           "01",
           "-",
           "1.",
           "1e",
           ".5",
           "+1",
           "nul",
           "truee",
           "\"",
           "\"\\x\"",
           "\"\\u12\"",
           "\"\\ud800\"",
           "\"\\udc00\"",
           "\"\\ud800\\u0041\"",
           "\"\n\"",
           "\"\x80\"",
           "\"\xc3\"",
           "\"\xff\"",
           "'a'",
           "[1 2]",
           "{\"a\" 1}",
       }) {
    EXPECT_FALSE(TreeReads(text)) << text;
    EXPECT_FALSE(IsPlainJson(text, {})) << text;
  }
  const std::string withNul("[1]\0", 4);
  EXPECT_FALSE(TreeReads(withNul));
  EXPECT_FALSE(IsPlainJson(withNul, {}));
  EXPECT_FALSE(IsPlainJson("{\"\\u0061\":1}", {})) << "left to the tree";
  EXPECT_FALSE(IsPlainJson("[1,2,3]", {.values = 3}));
}

TEST(JsonTextTest, FindsMembersLikeTheTree) {
  const std::string text =
      R"({"x.y":0,"a":{"b":{"c":1}},"a":{"b":{"c":2,"d":3}},"l":[{"a":4}],"e":{},"Members":[{"k":5},6,{"k":7}]})";
  ASSERT_TRUE(IsPlainJson(text, {}));
  const JsonTree tree = JsonTree::ByParser(text);
  const JsonTree inPlace(text);
  JsonMembers members;
  const JsonSlice root = JsonSlice::Root(text);
  EXPECT_EQ(members.Load(root), text.data() + text.size());
  for (const char* path : {"x", "x.y", "a", "a.b", "a.b.c", "a.b.d", "l", "l.a", "e", "e.f", "a.b.c.d"}) {
    const auto found = members.Find(path);
    EXPECT_EQ(found ? found->Text() : "?", tree.Root().Text(path, "?")) << path;
    EXPECT_EQ(inPlace.Root().Text(path, "?"), tree.Root().Text(path, "?")) << path;
  }
  std::string keys;
  root.Find("Members")->ForEach([&](JsonSlice child, std::string_view) {
    const char* after = members.Load(child);
    keys += members.Find("k") ? members.Find("k")->Text() : "-";
    return after;
  });
  EXPECT_EQ(keys, "5-7");
  EXPECT_FALSE(root.Find("none"));
}

}  // namespace
}  // namespace Kelvar
