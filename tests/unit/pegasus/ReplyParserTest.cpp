#include <gtest/gtest.h>

#include "transport/pegasus/ReplyParser.h"

namespace Pegasus::Detail {
namespace {

std::string Reply(const std::string& methodResponse) {
  return "<?xml version=\"1.0\"?><CIM CIMVERSION=\"2.0\"><MESSAGE ID=\"7\"><SIMPLERSP><IMETHODRESPONSE "
         "NAME=\"EnumerateInstances\">" +
         methodResponse + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
}

std::string InstanceReply(const std::string& content) {
  return Reply("<IRETURNVALUE><VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"K\"/><INSTANCE CLASSNAME=\"K\">" +
               content + "</INSTANCE></VALUE.NAMEDINSTANCE></IRETURNVALUE>");
}

/// Fed `step` bytes at a time.
Array<CIMInstance> Parse(const std::string& xml, std::size_t step = std::string::npos, const ReplyLimits& limits = {}) {
  ReplyParser parser("7", limits);
  for (std::size_t at = 0; at < xml.size(); at += std::min(step, xml.size() - at)) {
    parser.Feed(std::string_view(xml).substr(at, step));
  }
  return parser.Finish();
}

CIMInstance ParseOne(const std::string& content, std::size_t step = std::string::npos) {
  const Array<CIMInstance> instances = Parse(InstanceReply(content), step);
  EXPECT_EQ(instances.size(), 1U);
  return instances[0];
}

CIMValue ValueOf(const CIMInstance& instance, const char* name) {
  const Uint32 index = instance.findProperty(name);
  EXPECT_NE(index, PEG_NOT_FOUND) << name;
  return instance.getProperty(index).getValue();
}

/// The message of the CIMClientXmlException that reading gives.
std::string XmlFailure(const std::string& xml, const ReplyLimits& limits = {}) {
  try {
    Parse(xml, 4096, limits);
  } catch (const CIMClientXmlException& exception) {
    return std::string(exception.getMessage().View());
  }
  return "no CIMClientXmlException";
}

struct TextCase {
  const char* type;
  const char* wire;
  const char* text;
};

TEST(ReplyParser, ScalarsPrintAsTheRealLibraryPrintsThem) {
  const TextCase cases[] = {
      {"string", "<VALUE>a b</VALUE>", "a b"},
      {"string", "<VALUE> \n a\tb \r\n</VALUE>", "a\tb"},
      {"string", "<VALUE>&#32;a&#x9;</VALUE>", " a\t"},
      {"string", "<VALUE> <![CDATA[ <a> ]]> </VALUE>", " <a> "},
      {"string", "<VALUE>x<![CDATA[<&>]]>y &amp;&lt;&gt;&quot;&apos;</VALUE>", "x<&>y &<>\"'"},
      {"string", "<VALUE>\xC3\xA4&#228;&#8364;&#x1F600;</VALUE>", "\xC3\xA4\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"string", "<VALUE>a<!-- no -->b<?pi no?>c</VALUE>", "abc"},
      {"string", "<VALUE/>", ""},
      {"boolean", "<VALUE>true</VALUE>", "TRUE"},
      {"boolean", "<VALUE>FALSE</VALUE>", "FALSE"},
      {"uint8", "<VALUE>255</VALUE>", "255"},
      {"sint8", "<VALUE>-128</VALUE>", "-128"},
      {"uint16", "<VALUE> 65535 </VALUE>", "65535"},
      {"sint16", "<VALUE>+12</VALUE>", "12"},
      {"uint32", "<VALUE>0x1F</VALUE>", "31"},
      {"sint32", "<VALUE>-2147483648</VALUE>", "-2147483648"},
      {"uint64", "<VALUE>18446744073709551615</VALUE>", "18446744073709551615"},
      {"sint64", "<VALUE>-9223372036854775808</VALUE>", "-9223372036854775808"},
      {"real32", "<VALUE>1.5</VALUE>", "1.5000000000000000e+00"},
      {"real64", "<VALUE>15</VALUE>", "1.5000000000000000e+01"},
      {"real64", "<VALUE>-2.5E-3</VALUE>", "-2.5000000000000001e-03"},
      {"char16", "<VALUE>\xC3\xA9</VALUE>", "\xC3\xA9"},
      {"datetime", "<VALUE>20260314120000.000000+060</VALUE>", "20260314120000.000000+060"},
      {"nonsense", "<VALUE>kept</VALUE>", "kept"},
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(std::string(c.type) + " " + c.wire);
    const std::string property = std::string("<PROPERTY NAME=\"P\" TYPE=\"") + c.type + "\">" + c.wire + "</PROPERTY>";
    for (const std::size_t step : {std::string::npos, std::size_t{1}}) {
      const CIMValue value = ValueOf(ParseOne(property, step), "p");
      EXPECT_EQ(value.toString(), c.text);
      EXPECT_FALSE(value.isNull());
      EXPECT_EQ(value.getArraySize(), 0U);
    }
  }
}

TEST(ReplyParser, ArraysPrintABlankBehindEachElement) {
  const CIMInstance instance = ParseOne(
      "<PROPERTY.ARRAY NAME=\"N\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE> <VALUE>0x2</VALUE><VALUE.NULL/>"
      "</VALUE.ARRAY></PROPERTY.ARRAY>"
      "<PROPERTY.ARRAY NAME=\"S\" TYPE=\"string\"><VALUE.ARRAY><VALUE>a b</VALUE><VALUE/></VALUE.ARRAY>"
      "</PROPERTY.ARRAY>"
      "<PROPERTY.ARRAY NAME=\"Empty\" TYPE=\"string\"><VALUE.ARRAY/></PROPERTY.ARRAY>"
      "<PROPERTY.ARRAY NAME=\"Null\" TYPE=\"string\"/>");
  EXPECT_EQ(ValueOf(instance, "N").toString(), "1 2 0 ");
  EXPECT_EQ(ValueOf(instance, "S").toString(), "a b  ");
  EXPECT_EQ(ValueOf(instance, "S").getArraySize(), 2U);
  EXPECT_EQ(ValueOf(instance, "Empty").toString(), "");
  EXPECT_FALSE(ValueOf(instance, "Empty").isNull());
  EXPECT_TRUE(ValueOf(instance, "Null").isNull());
  EXPECT_TRUE(ValueOf(instance, "Null").isArray());

  Array<Uint16> numbers;
  ValueOf(instance, "N").get(numbers);
  ASSERT_EQ(numbers.size(), 3U);
  EXPECT_EQ(numbers[1], 2);
  EXPECT_THROW(numbers[3], IndexOutOfBoundsException);
  Array<String> texts;
  texts.append("kept");
  ValueOf(instance, "Null").get(texts);
  EXPECT_EQ(texts.size(), 1U) << "null leaves the argument alone";
  EXPECT_THROW(ValueOf(instance, "N").get(texts), TypeMismatchException);
}

TEST(ReplyParser, GetTakesTheExactTypeOnlyAndLeavesNullAlone) {
  const CIMInstance instance = ParseOne(
      "<PROPERTY NAME=\"Number\" TYPE=\"uint16\"><VALUE>42</VALUE></PROPERTY>"
      "<PROPERTY NAME=\"Null\" TYPE=\"uint16\"/>"
      "<PROPERTY NAME=\"EmptyNumber\" TYPE=\"uint16\"><VALUE> </VALUE></PROPERTY>"
      "<PROPERTY NAME=\"Real\" TYPE=\"real32\"><VALUE>0.1</VALUE></PROPERTY>"
      "<PROPERTY NAME=\"Flag\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>");
  Uint16 number = 7;
  ValueOf(instance, "Null").get(number);
  ValueOf(instance, "EmptyNumber").get(number);
  EXPECT_TRUE(ValueOf(instance, "EmptyNumber").isNull());
  EXPECT_EQ(number, 7);
  ValueOf(instance, "Number").get(number);
  EXPECT_EQ(number, 42);
  Uint32 wide = 0;
  EXPECT_THROW(ValueOf(instance, "Number").get(wide), TypeMismatchException);
  EXPECT_THROW(ValueOf(instance, "Null").get(wide), TypeMismatchException);
  String text;
  EXPECT_THROW(ValueOf(instance, "Number").get(text), TypeMismatchException);
  Real32 real = 0;
  ValueOf(instance, "Real").get(real);
  EXPECT_EQ(real, 0.1F);
  Boolean flag = false;
  ValueOf(instance, "Flag").get(flag);
  EXPECT_TRUE(flag);
  EXPECT_EQ(CIMValue(Real64{15}).toString(), "1.5000000000000000e+01") << "values made by callers print alike";
}

TEST(ReplyParser, ValuesAndPathsOutliveTheReply) {
  CIMProperty property;
  CIMObjectPath path;
  {
    CIMInstance instance = ParseOne("<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>stays</VALUE></PROPERTY>");
    property = instance.getProperty(0);
    path = instance.getPath();
    EXPECT_THROW(instance.getProperty(1), IndexOutOfBoundsException);
  }
  EXPECT_EQ(property.getValue().toString(), "stays");
  EXPECT_EQ(property.getName().getString(), "P");
  EXPECT_EQ(path.toString(), "K");
}

TEST(ReplyParser, PathsHaveSortedEscapedKeysAndNoHost) {
  const std::string name =
      "<INSTANCENAME CLASSNAME=\"CIM_X\"><KEYBINDING NAME=\"b\"><KEYVALUE VALUETYPE=\"numeric\">5</KEYVALUE>"
      "</KEYBINDING><KEYBINDING NAME=\"A\"><KEYVALUE>x\"\\y</KEYVALUE></KEYBINDING></INSTANCENAME>";
  const std::string spacePath =
      "<NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH></NAMESPACEPATH>";
  const Array<CIMInstance> instances = Parse(Reply(
      "<IRETURNVALUE><VALUE.NAMEDINSTANCE>" + name +
      "<INSTANCE CLASSNAME=\"CIM_X\"/></VALUE.NAMEDINSTANCE><VALUE.INSTANCEWITHPATH><INSTANCEPATH>" + spacePath + name +
      "</INSTANCEPATH><INSTANCE CLASSNAME=\"CIM_X\"><PROPERTY.REFERENCE NAME=\"R\"><VALUE.REFERENCE><INSTANCEPATH>" +
      spacePath + "<INSTANCENAME CLASSNAME=\"CIM_Y\"><KEYBINDING NAME=\"K\"><VALUE.REFERENCE>" + name +
      "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></PROPERTY.REFERENCE></INSTANCE>"
      "</VALUE.INSTANCEWITHPATH><INSTANCE CLASSNAME=\"Bare\"/></IRETURNVALUE>"));
  ASSERT_EQ(instances.size(), 3U);
  EXPECT_EQ(instances[0].getPath().toString(), R"(CIM_X.A="x\"\\y",b=5)");
  EXPECT_EQ(instances[1].getPath().toString(), R"(CIM_X.A="x\"\\y",b=5)");
  EXPECT_EQ(instances[2].getPath().toString(), "Bare");
  EXPECT_EQ(ValueOf(instances[1], "R").toString(), R"(//h/root/cimv2:CIM_Y.K="CIM_X.A=\"x\\\"\\\\y\",b=5")");
}

TEST(ReplyParser, QualifiersBelongToTheirProperty) {
  const std::string map =
      "<QUALIFIER NAME=\"ValueMap\" TYPE=\"string\"><VALUE.ARRAY><VALUE>1</VALUE></VALUE.ARRAY></QUALIFIER>";
  const CIMInstance instance = ParseOne("<PROPERTY NAME=\"A\" TYPE=\"uint16\">" + map +
                                        "<VALUE>1</VALUE></PROPERTY><PROPERTY NAME=\"B\" TYPE=\"uint16\"/>");
  const CIMConstProperty a = std::as_const(instance).getProperty(0);
  ASSERT_NE(a.findQualifier("valuemap"), PEG_NOT_FOUND);
  EXPECT_TRUE(a.getQualifier(a.findQualifier("ValueMap")).isArray());
  EXPECT_EQ(a.getQualifier(0).getValue().toString(), "1 ");
  EXPECT_EQ(a.getValue().toString(), "1");
  EXPECT_EQ(instance.getProperty(1).findQualifier("ValueMap"), PEG_NOT_FOUND);
}

TEST(ReplyParser, SkipsWhatItDoesNotKnow) {
  const CIMInstance instance = ParseOne(
      "<VENDOR><PROPERTY NAME=\"Inner\" TYPE=\"string\"><VALUE>no</VALUE></PROPERTY></VENDOR>"
      "<PROPERTY NAME=\"P\" TYPE=\"string\"><HINT>no</HINT><VALUE>a<B>no</B>c</VALUE></PROPERTY>"
      "<PROPERTY NAME=\"not legal\" TYPE=\"string\"><VALUE>no</VALUE></PROPERTY>"
      "<PROPERTY NAME=\"p\" TYPE=\"string\"><VALUE>second</VALUE></PROPERTY>");
  EXPECT_EQ(instance.getPropertyCount(), 2U);
  EXPECT_EQ(ValueOf(instance, "P").toString(), "ac") << "the first of two namesakes is found";
  EXPECT_EQ(instance.findProperty("Inner"), PEG_NOT_FOUND);
  EXPECT_THROW(static_cast<void>(instance.findProperty("not legal")), InvalidNameException);
}

TEST(ReplyParser, OddBytesInAValueDoNotCostTheReply) {
  const std::string odd = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {std::string("a\x1B[2J\0b", 7), "a\x1B[2J" + odd + "b"},
      {"<![CDATA[\x1F]] &#27;]]>&#27;&#x0B;&#x1f;", "\x1F]] &#27;\x1B\v\x1F"},
      {"\v a &#0;&#x110000;&#55296;&#9;&#65;&amp;#27;", "\v a " + odd + odd + odd + "\tA&#27;"},
      {"]]<!-- x -->&lt;![CDATA[ &#1;", "]]<![CDATA[ \x01"},
      {"\xE4 latin", odd + " latin"},
      {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F", "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F"},
      {"cut \xE2\x82|", "cut " + odd + odd + "|"},
      {"long \xC0\xAF|", "long " + odd + odd + "|"},
      {"surrogate \xED\xA0\x80|", "surrogate " + odd + odd + odd + "|"},
      {"none \xEF\xBF\xBF|", "none " + odd + odd + odd + "|"},
  };
  for (const auto& [wire, text] : cases) {
    for (const std::size_t step : {std::string::npos, std::size_t{1}}) {
      const CIMInstance instance =
          ParseOne("<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>" + wire + "</VALUE></PROPERTY>", step);
      EXPECT_EQ(ValueOf(instance, "P").toString().View(), text);
    }
  }
  std::string latin = InstanceReply("<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>\xE4</VALUE></PROPERTY>");
  latin.insert(latin.find("?>"), " encoding='ISO-8859-1'");
  EXPECT_EQ(Parse(latin)[0].getProperty(0).getValue().toString(), "\xC3\xA4") << "an encoding that is told holds";
}

TEST(ReplyParser, RefusesWhatIsNoReply) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "Validation error: on line 1: no element found"},
      {"not XML", "Validation error: on line 1: syntax error"},
      {"<html><body/></html>", "Semantic error: on line 1: the root element is not CIM"},
      {"<CIM/>", "Semantic error: on line 1: no IMETHODRESPONSE"},
      {Reply("<IRETURNVALUE>").substr(0, Reply("").find("</IM") + 14), "Validation error: on line 1: no element found"},
      {"<!DOCTYPE CIM [<!ENTITY a \"b\">]>" + Reply(""), "Validation error: on line 1: a DOCTYPE is not accepted"},
      {InstanceReply("\n<PROPERTY NAME=\"P\" TYPE=\"uint8\"><VALUE>256</VALUE></PROPERTY>"),
       "Semantic error: on line 2: the value of P does not fit its type"},
      {InstanceReply("<PROPERTY NAME=\"P\" TYPE=\"boolean\"><VALUE>maybe</VALUE></PROPERTY>"),
       "Semantic error: on line 1: the value of P does not fit its type"},
      {InstanceReply("&unknown;"), "Validation error: on line 1: undefined entity"},
      {"<?xml version=\"1.0\" encoding=\"EBCDIC\"?><CIM/>", "Validation error: on line 1: unknown encoding"},
  };
  for (const auto& [xml, message] : cases) {
    EXPECT_EQ(XmlFailure(xml), message) << xml;
  }
}

TEST(ReplyParser, ErrorsAndForeignReplies) {
  try {
    Parse(Reply("<ERROR CODE=\"3\" DESCRIPTION=\"no such namespace\"/>"));
    FAIL();
  } catch (const CIMException& exception) {
    EXPECT_EQ(exception.getCode(), CIM_ERR_INVALID_NAMESPACE);
    EXPECT_EQ(exception.getMessage(), "no such namespace");
  }
  try {
    Parse(Reply("<ERROR CODE=\"6\"/>"));
    FAIL();
  } catch (const CIMException& exception) {
    EXPECT_EQ(exception.getMessage(), "CIM_ERR_NOT_FOUND");
  }
  try {
    ReplyParser("8").Feed(Reply(""));
    FAIL();
  } catch (const CIMClientResponseException& exception) {
    EXPECT_EQ(exception.getMessage(), "Mismatched response message ID:  Got \"7\", expected \"8\".");
  }
  EXPECT_EQ(Parse(Reply("")).size(), 0U);
}

TEST(ReplyParser, BoundsWhatAReplyCanCost) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) {
    deep += "<A>";
  }
  std::string wide = "<PROPERTY";
  for (int i = 0; i < 200'000; ++i) {
    wide += " a" + std::to_string(i) + "=\"\"";
  }
  std::string names;
  for (int i = 0; i < 70'000; ++i) {
    names += "<PROPERTY NAME=\"P" + std::to_string(i) + "\"/>";
  }
  std::string keys;
  for (int i = 0; i < 300; ++i) {
    keys += "<KEYBINDING NAME=\"K\"><KEYVALUE/></KEYBINDING>";
  }
  ReplyLimits few;
  few.instances = 2;
  few.bytes = 1000;
  const std::pair<std::string, std::string> cases[] = {
      {InstanceReply(deep), "Validation error: on line 1: elements nested more than 100 deep"},
      {InstanceReply(wide + "/>"), "Validation error: on line 1: a token of more than 262144 bytes"},
      {InstanceReply(wide.substr(0, wide.find(" a100=")) + "/>"),
       "Validation error: on line 1: more than 64 attributes"},
      {InstanceReply(names), "Validation error: on line 1: too many different properties"},
      {Reply("<IRETURNVALUE><VALUE.NAMEDINSTANCE><INSTANCENAME>" + keys), "Validation error: on line 1: too many keys"},
  };
  for (const auto& [xml, message] : cases) {
    EXPECT_EQ(XmlFailure(xml), message);
  }
  EXPECT_EQ(XmlFailure(Reply("<IRETURNVALUE><INSTANCE/><INSTANCE/><INSTANCE/></IRETURNVALUE>"), few),
            "Validation error: on line 1: more than 2 instances");
  EXPECT_EQ(XmlFailure(Reply(std::string(1000, ' ')), few), "Validation error: on line 1: more than 1000 bytes");

  few = {};
  few.values = 4;
  few.valueBytes = 20;
  const std::string array = "<PROPERTY.ARRAY NAME=\"A\" TYPE=\"string\"><VALUE.ARRAY>";
  const std::string arrayEnd = "</VALUE.ARRAY></PROPERTY.ARRAY>";
  const std::string scalar = "<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>12345678901234567890</VALUE></PROPERTY>";
  EXPECT_EQ(Parse(InstanceReply(array + "<VALUE>a</VALUE><VALUE.NULL/>" + arrayEnd + scalar), 1, few).size(), 1U);
  const std::string tooMany = "Validation error: on line 1: more than 4 values";
  EXPECT_EQ(XmlFailure(InstanceReply(scalar + scalar + scalar + scalar + scalar), few), tooMany);
  EXPECT_EQ(XmlFailure(InstanceReply(array + "<VALUE/><VALUE/><VALUE/><VALUE/>" + arrayEnd), few), tooMany);
  EXPECT_EQ(XmlFailure(InstanceReply(array + "<VALUE.NULL/><VALUE.NULL/><VALUE.NULL/><VALUE.NULL/>" + arrayEnd), few),
            tooMany);
  const std::string tooLong = "Validation error: on line 1: a value of more than 20 bytes";
  EXPECT_EQ(XmlFailure(InstanceReply("<PROPERTY NAME=\"P\"><VALUE>123456789012345678901"), few), tooLong)
      << "before its end";
  EXPECT_EQ(XmlFailure(InstanceReply(array + "<VALUE>1234567890</VALUE><VALUE>1</VALUE>" + arrayEnd), few), tooLong);
  const std::string qualifier = "<QUALIFIER NAME=\"Q\" TYPE=\"string\"><VALUE>1234567890</VALUE></QUALIFIER>";
  EXPECT_EQ(XmlFailure(InstanceReply("<PROPERTY NAME=\"P\">" + qualifier + qualifier), few), tooLong);

  few = {};
  few.instanceBytes = 50;
  EXPECT_EQ(Parse(InstanceReply(scalar + scalar), 4096, few).size(), 1U);
  EXPECT_EQ(XmlFailure(InstanceReply(scalar + scalar + scalar), few),
            "Validation error: on line 1: an instance of more than 50 bytes");
  few.instanceBytes = ReplyLimits().instanceBytes;
  few.keptBytes = 200'000;
  const std::string tooMuch = "Validation error: on line 1: instances of more than 200000 bytes";
  EXPECT_EQ(XmlFailure(InstanceReply(names), few), tooMuch) << "names";
  std::string instances;
  for (int i = 0; i < 4000; ++i) {
    instances += "<INSTANCE>" + scalar + scalar + "</INSTANCE>";
  }
  EXPECT_EQ(XmlFailure(Reply("<IRETURNVALUE>" + instances), few), tooMuch) << "values";
}

/// A reference whose path holds `levels` others, each inside a key of the one before; what is quoted doubles.
std::string NestedReference(int levels) {
  std::string text = "<KEYVALUE>\"</KEYVALUE>";
  for (int i = 0; i <= levels; ++i) {
    text = "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"K\"><KEYBINDING NAME=\"K\">" + text +
           "</KEYBINDING></INSTANCENAME></VALUE.REFERENCE>";
  }
  return text;
}

std::string ReferenceReply(const std::string& reference) {
  return InstanceReply("<PROPERTY.REFERENCE NAME=\"R\">" + reference + "</PROPERTY.REFERENCE>");
}

TEST(ReplyParser, QuotedPathsInsideEachOtherCannotGrowWithoutEnd) {
  const std::string tooLong = "Validation error: on line 1: an object path of more than 1048576 bytes";
  EXPECT_EQ(XmlFailure(ReferenceReply(NestedReference(25))), tooLong);

  // No key alone is too long, and the path that they make has no end yet.
  std::string keys;
  for (int i = 0; i < 10; ++i) {
    keys += "<KEYBINDING NAME=\"K\">" + NestedReference(16) + "</KEYBINDING>";
  }
  EXPECT_EQ(XmlFailure(ReferenceReply("<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"K\">" + keys)), tooLong);

  ReplyLimits few;
  few.pathBytes = 100'000;
  const std::string reply = ReferenceReply(NestedReference(12) + NestedReference(12) + NestedReference(12));
  EXPECT_LT(reply.size(), few.pathBytes / 10);
  EXPECT_EQ(Parse(reply).size(), 1U);
  EXPECT_EQ(XmlFailure(reply, few), "Validation error: on line 1: object paths of more than 100000 bytes");
}

TEST(ReplyParser, HugeTokensEndEarlyAndHugeTextsDoNot) {
  const std::string piece(64 * 1024, 'x');
  ReplyParser token("7");
  token.Feed("<CIM><!-- ");
  int fed = 0;
  EXPECT_THROW(
      for (; fed < 1024; ++fed) { token.Feed(piece); }, CIMClientXmlException);
  EXPECT_LT(fed, 8) << "of 64 MiB in one comment";

  ReplyParser text("7");
  const std::string reply = InstanceReply("<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>|</VALUE></PROPERTY>");
  text.Feed(std::string_view(reply).substr(0, reply.find('|')));
  for (int i = 0; i < 64; ++i) {
    text.Feed(piece);
  }
  text.Feed(std::string_view(reply).substr(reply.find('|') + 1));
  EXPECT_EQ(text.Finish()[0].getProperty(0).getValue().toString().size(), 64 * piece.size());
}

// The XML parser alone reads an unfinished token again with every piece: a minute or two for these.
TEST(ReplyParser, TokensInTinyPiecesAreNotReadAgainAndAgain) {
  ReplyLimits large;
  large.tokenBytes = std::size_t{2} * 1024 * 1024;
  const std::string fill(std::size_t{512} * 1024, 'x');
  EXPECT_EQ(Parse(InstanceReply("<!--" + fill + "--><PROPERTY NAME=\"P\" TYPE=\"string\" A='" + fill + "'/>"), 1, large)
                .size(),
            1U);
  ReplyParser prompt("8");
  const std::string head = "<CIM><MESSAGE ID=\"7\">";
  EXPECT_THROW(
      for (std::size_t i = 0; i < 2 * head.size(); ++i) { prompt.Feed(head.substr(i % head.size(), 1)); },
      CIMClientResponseException)
      << "a token waits for no more than its own length";
}

}  // namespace
}  // namespace Pegasus::Detail
