// SPDX-License-Identifier: Apache-2.0
#include "uri/uri_template.h"

#include "error.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace qvx {
namespace {

using Value = UriTemplate::Value;

// The variables of RFC 6570 section 3.2, and some of our own.
const std::map<std::string, Value>& variables() {
  static const std::map<std::string, Value> all{
      {"count", UriTemplate::List{"one", "two", "three"}},
      {"dom", UriTemplate::List{"example", "com"}},
      {"dub", "me/too"},
      {"hello", "Hello World!"},
      {"half", "50%"},
      {"var", "value"},
      {"who", "fred"},
      {"base", "http://example.com/home/"},
      {"path", "/foo/bar"},
      {"list", UriTemplate::List{"red", "green", "blue"}},
      {"keys", UriTemplate::Pairs{{"semi", ";"}, {"dot", "."}, {"comma", ","}}},
      {"v", "6"},
      {"x", "1024"},
      {"y", "768"},
      {"empty", ""},
      {"empty_keys", UriTemplate::Pairs{}},
      {"umlauts", "\u00FC\u20AC\U0001F638z"},
      {"octets", "a%C3%BCbc"},
      {"%C3%BC.n_1", "named"},
      {"holes", UriTemplate::List{"", "b"}},
      {"gaps", UriTemplate::Pairs{{"a&", ""}, {"b", "2"}}},
  };
  return all;
}

std::string expanded(const std::string& text) {
  return UriTemplate(text).expand([](const std::string& name) {
    const auto found = variables().find(name);
    return found == variables().end() ? Value() : found->second;
  });
}

struct Example {
  const char* text;
  const char* uri;
};

// Of the examples in sections 1.2 and 3.2 those that show something of their own.
const std::vector<Example> kExamples{
    {"{var}", "value"},
    {"{hello}", "Hello%20World%21"},
    {"{+hello}", "Hello%20World!"},
    {"{+path}/here", "/foo/bar/here"},
    {"here?ref={+path}", "here?ref=/foo/bar"},
    {"{x,hello,y}", "1024,Hello%20World%21,768"},
    {"{+path,x}/here", "/foo/bar,1024/here"},
    {"X{.var}", "X.value"},
    {"{/var,x}/here", "/value/1024/here"},
    {"{;x,y,empty}", ";x=1024;y=768;empty"},
    {"{?x,y,empty}", "?x=1024&y=768&empty="},
    {"?fixed=yes{&x}", "?fixed=yes&x=1024"},
    {"{&x,y,empty}", "&x=1024&y=768&empty="},
    {"{var:3}", "val"},
    {"{var:30}", "value"},
    {"{list*}", "red,green,blue"},
    {"{keys}", "semi,%3B,dot,.,comma,%2C"},
    {"{keys*}", "semi=%3B,dot=.,comma=%2C"},
    {"{+path:6}/here", "/foo/b/here"},
    {"{+keys}", "semi,;,dot,.,comma,,"},
    {"{+keys*}", "semi=;,dot=.,comma=,"},
    {"{#path:6}/here", "#/foo/b/here"},
    {"{#keys}", "#semi,;,dot,.,comma,,"},
    {"{#keys*}", "#semi=;,dot=.,comma=,"},
    {"X{.list}", "X.red,green,blue"},
    {"X{.list*}", "X.red.green.blue"},
    {"X{.keys}", "X.semi,%3B,dot,.,comma,%2C"},
    {"X{.keys*}", "X.semi=%3B.dot=..comma=%2C"},
    {"{/var:1,var}", "/v/value"},
    {"{/list}", "/red,green,blue"},
    {"{/list*}", "/red/green/blue"},
    {"{/list*,path:4}", "/red/green/blue/%2Ffoo"},
    {"{/keys}", "/semi,%3B,dot,.,comma,%2C"},
    {"{/keys*}", "/semi=%3B/dot=./comma=%2C"},
    {"{;hello:5}", ";hello=Hello"},
    {"{;list}", ";list=red,green,blue"},
    {"{;list*}", ";list=red;list=green;list=blue"},
    {"{;keys}", ";keys=semi,%3B,dot,.,comma,%2C"},
    {"{;keys*}", ";semi=%3B;dot=.;comma=%2C"},
    {"{?keys}", "?keys=semi,%3B,dot,.,comma,%2C"},
    {"{?keys*}", "?semi=%3B&dot=.&comma=%2C"},
    {"{&list}", "&list=red,green,blue"},
    {"{&list*}", "&list=red&list=green&list=blue"},
    {"{&keys}", "&keys=semi,%3B,dot,.,comma,%2C"},
    {"{&keys*}", "&semi=%3B&dot=.&comma=%2C"},
    {"{?count}", "?count=one,two,three"},
    {"{?count*}", "?count=one&count=two&count=three"},
    {"{half}", "50%25"},
    {"O{empty}X", "OX"},
    {"?{x,empty}", "?1024,"},
    {"?{x,undef}", "?1024"},
    {"?{undef,y}", "?768"},
    {"{+half}", "50%25"},
    {"{+base}index", "http://example.com/home/index"},
    {"up{+path}{var}/here", "up/foo/barvalue/here"},
    {"foo{#empty}", "foo#"},
    {"www{.dom*}", "www.example.com"},
    {"X{.empty}", "X."},
    {"X{.undef}", "X"},
    {"X{.empty_keys*}", "X"},
    {"{/who,dub}", "/fred/me%2Ftoo"},
    {"{/var,empty}", "/value/"},
    {"{;v,empty,who}", ";v=6;empty;who=fred"},
    {"{;v,bar,who}", ";v=6;who=fred"},
    {"{?x,y,undef}", "?x=1024&y=768"},
    // What the text says and shows no example of
    {"", ""},
    {"/gr\u00FC\u00DFe/%c3%BC/it's", "/gr%C3%BC%C3%9Fe/%c3%BC/it's"},
    {"{umlauts:1}", "%C3%BC"},
    {"{umlauts:3}", "%C3%BC%E2%82%AC%F0%9F%98%B8"},
    {"{umlauts:9999}", "%C3%BC%E2%82%AC%F0%9F%98%B8z"},
    {"{+octets:2}{octets:2}", "a%C3%BCa%25"},
    {"{?%C3%BC.n_1}", "?%C3%BC.n_1=named"},
    {"{?holes*}{;holes*}{/holes*}", "?holes=&holes=b;holes;holes=b//b"},
    {"{?holes}{?gaps*}{;gaps*}{gaps*}", "?holes=,b?a%26=&b=2;a%26;b=2a%26=,b=2"},
};

TEST(UriTemplate, expands) {
  for (const Example& example : kExamples) {
    SCOPED_TRACE(example.text);
    EXPECT_EQ(expanded(example.text), example.uri);
  }
}

TEST(UriTemplate, listsItsVariables) {
  EXPECT_EQ(UriTemplate("http://h/{b}{?a,b*,c:3}{+a}").variables(), (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_TRUE(UriTemplate("http://example.com/").variables().empty());
}

TEST(UriTemplate, refusesMalformed) {
  struct Case {
    const char* text;
    int position;
    const char* why;
  };
  const std::vector<Case> cases{
      {"a{x", 2, "without a \"}\""},
      {"\u00FC/{x,", 3, "without a \"}\""},
      {"{x:", 1, "without a \"}\""},
      {"{", 1, "without a \"}\""},
      {"\u20AC\u20ACx}", 4, "without a \"{\""},
      {"/{}", 2, "empty"},
      {"{+}", 3, "of a variable's name, not \"}\""},
      {"{=x}", 2, "operator \"=\" is reserved"},
      {"{,x}", 2, "operator \",\" is reserved"},
      {"{!x}", 2, "operator \"!\" is reserved"},
      {"{@x}", 2, "operator \"@\" is reserved"},
      {"{|x}", 2, "operator \"|\" is reserved"},
      {"{$x}", 2, "not \"$\""},
      {"{x y}", 3, "not \" \""},
      {"{ x}", 2, "not \" \""},
      {"{x.}", 4, "not \"}\""},
      {"{.x..y}", 5, "not \".\""},
      {"{x-y}", 3, "not \"-\""},
      {"{%4}", 2, "not \"%\""},
      {"{x,}", 4, "not \"}\""},
      {"{x{y}}", 3, "not \"{\""},
      {"{x:0}", 4, "1 to 9999"},
      {"{x:01}", 4, "1 to 9999"},
      {"{x:10000}", 4, "1 to 9999"},
      {"{x:a}", 4, "not \"a\""},
      {"{x:3*}", 5, "not \"*\""},
      {"{x*:3}", 4, "not \":\""},
      {"/a b", 3, "a blank"},
      {"/100%", 5, "hexadecimal"},
      {"/%4g{x}", 2, "hexadecimal"},
      {"{x}<", 4, "\"<\" cannot stand"},
      {"\u00FC\xFF", 2, "not UTF-8"},
      {"{\xC3}", 2, "no UTF-8"},
      {"a\u0085", 2, "control character"},
      {"a\uFFFE", 2, "not assigned"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    try {
      const UriTemplate made(one.text);
      ADD_FAILURE() << "it was taken";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::BadRequest);
      const std::string text = error.what();
      EXPECT_NE(text.find("position " + std::to_string(one.position) + " "), std::string::npos) << text;
      EXPECT_NE(text.find(one.why), std::string::npos) << text;
    }
  }
}

TEST(UriTemplate, refusesPrefixOfSeveralValues) {
  for (const char* const text : {"{list:3}", "{?keys:1}"}) EXPECT_THROW(static_cast<void>(expanded(text)), Error) << text;
  EXPECT_EQ(expanded("{empty_keys:3}"), "");
}

}  // namespace
}  // namespace qvx
