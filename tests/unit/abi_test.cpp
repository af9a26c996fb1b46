// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"

#include <qvb/config.h>
#include <qvjni/qvjni.h>
#include <qvlog/qvlog.h>
#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <typeinfo>

namespace {

using namespace scripted;
using Objects = std::vector<const void*>;

QvbString operator""_t(const char* text, size_t length) {
  return {text, static_cast<int32_t>(length)};
}

/// Calls the n-th entry of an object's table as a plain function, as a host of another compiler does (Itanium C++ ABI): `this` comes first, objects
/// go by reference, and texts and names come back through a hidden argument.
template <class Result = const void*, class... Arguments>
Result call(const void* object, int slot, const Arguments&... arguments) {
  using Operation = Result (*)(const void*, std::conditional_t<std::is_class_v<Arguments>, const Arguments&, std::decay_t<const Arguments>>...);
  return reinterpret_cast<Operation>((*static_cast<void* const* const*>(object))[slot - 1])(object, arguments...);
}
/// What some entries answer, with a blank after each.
template <class Result>
std::string all(const void* object, std::initializer_list<int> slots) {
  std::string text;
  for (const int slot : slots) {
    const auto result = call<Result>(object, slot);
    if constexpr (std::is_same_v<Result, QName>) text += str(result.toText()) + " ";
    if constexpr (std::is_same_v<Result, QvbString>) text += str(result) + " ";
    if constexpr (std::is_same_v<Result, int32_t>) text += std::to_string(result) + " ";
  }
  return text;
}
/// The text that an operation writes into its last argument, "-" when it fails.
template <class... Arguments>
std::string written(const void* object, int slot, const Arguments&... arguments) {
  QvbString got;
  return call<bool>(object, slot, arguments..., got) ? str(got) : "-";
}

/// The table of a callback, made by hand. What stands before the operations is for those who check the types of objects.
const void* const kCallback[] = {nullptr, &typeid(WebServiceInvokeCallback), reinterpret_cast<void*>(+[](void*) { return 250; }),
                                 reinterpret_cast<void*>(+[](void*) { return true; })};

class Abi : public testing::Test {
 protected:
  ~Abi() override {
    call<void>(client_, 15);
    EXPECT_EQ(script().live, 0);
  }
  QvbString err_;
  const void* const client_ = (reset(), qvwsCreateWebServiceClient(&err_));
};

TEST_F(Abi, Client) {
  const void* const input = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
  const void* const output = qvwsCreateWebServiceParmValue(WSPStyle::File, &err_);
  EXPECT_TRUE(call<bool>(input, 6, "k"_t, "v"_t, err_) && call<bool>(input, 6, "wsps.string.value"_t, "text"_t, err_));
  call<void>(input, 1, "k"_t);
  EXPECT_EQ(written(input, 4, "k"_t) + written(input, 4, "wsps.string.value"_t), "-text");
  call<void>(input, 7, false);
  EXPECT_TRUE(call<bool>(client_, 2, "in"_t, input, err_) && call<bool>(client_, 3, "out"_t, output, err_));
  EXPECT_EQ(all<int32_t>(input, {2, 3}) + all<int32_t>(output, {2, 3}), "1 1 0 2 ");
  call<void>(qvwsCreateWebServiceParmValue(WSPStyle::File, &err_), 5);  // or else memory checkers find it

  EXPECT_TRUE(call<bool>(client_, 1, "n"_t, "a"_t, err_) && call<bool>(client_, 1, "n"_t, "b"_t, err_));
  EXPECT_EQ(written(client_, 6, "n"_t) + written(client_, 8, "n"_t, 1), "ab");
  EXPECT_TRUE(call<bool>(client_, 17, "n"_t, "c"_t, err_));
  EXPECT_EQ(written(client_, 6, "n"_t) + written(client_, 8, "n"_t, 1), "c-");
  EXPECT_TRUE(call<bool>(client_, 18, "p"_t, "urn:p"_t, err_) && call<bool>(client_, 19, "WSCP_ACTION"_t, "act"_t, err_));
  EXPECT_EQ(written(client_, 9, "WSCP_ACTION"_t), "act");

  std::vector<int32_t> polled;
  script().answers["Invoke"] = {{.rows = {null, Rows{{"x", "1"}, {"x", "2"}, {"y", "3"}}}}};
  script().onCall = [&](const std::string&, QvjniInvokeCallback* record) {
    if (record != nullptr) polled = {record->option, record->poll(record)};
  };
  const void* const* const callback = kCallback + 2;
  EXPECT_TRUE(call<bool>(client_, 14, &callback, err_)) << str(err_);
  EXPECT_EQ(polled, (std::vector{250, 1}));
  EXPECT_EQ(written(client_, 10, "x"_t) + written(client_, 12, "x"_t, 1), "12");
  EXPECT_EQ(written(client_, 13, 1, 0, &err_), "3");
  EXPECT_EQ(str(err_), "y");
  EXPECT_EQ(all<int32_t>(client_, {7, 11}), "1 2 ");
  EXPECT_TRUE(call<bool>(client_, 16, err_));
  EXPECT_EQ(script().calls(), (std::vector<std::string>{"create", "SetNamespaces", "SetOptions", "SetParameters", "Invoke", "Reset"}));
  EXPECT_NE(script().trace[3].find("-|Value|text|false;"), std::string::npos) << script().trace[3];

  script().answers["DiscoverURI"] = {{.rows = {Rows{{"a"}, {"b"}}}}};
  const void* const cursor = call(client_, 5, "{a}{b}"_t, err_);
  uint64_t rows = 0;
  EXPECT_TRUE(call<bool>(cursor, 1) && call<bool>(cursor, 6, &rows) && call<bool>(cursor, 7) && call<bool>(cursor, 7));
  EXPECT_TRUE(rows == 2 && call<int32_t>(cursor, 3) == 1);
  EXPECT_TRUE(call<QvbString>(cursor, 2, 0).isNull() && call<QvbString>(cursor, 5, 0).isNull());
  EXPECT_EQ(str(call<QvbString>(cursor, 4, 0)), "b");
  EXPECT_TRUE(!call<bool>(cursor, 7) && call<bool>(cursor, 9) && call<bool>(cursor, 7));
  EXPECT_EQ(str(call<QvbString>(cursor, 4, 0)), "a");
  call<void>(cursor, 8);
  call<void>(qvwsCreateWebServiceClient(&err_), 21);  // the destructor that deletes, as Release() does
}

TEST_F(Abi, Discovery) {
  answerTree();
  script().answers["Discover"].front().rows = {
      Rows{{"Version", "1.1"}, {"Documentation", "ddoc"}},
      objects({{"Service", "S"}, {"Service", "T"}, {"Binding", "B"}, {"Interface", "I"}, {"Interface", "J"}, {"Interface", "K"}})};
  script().answers["DiscoverParameters"].front().rows = {
      Rows{{"Input", "x", "in"}, {null, "Documentation", "pdoc"}, {null, "Schema", "xsd"}, {null, "XML", "xml"}, {"Output", "x", "out"}}};
  QvbString* const err = &err_;
  const QName a("x", "a");
  const void* const found = call(client_, 4, err_);
  const void* const binding = call(found, 1, QName("x", "B"), err);
  const void* const interface = call(found, 5, QName("x", "I"));
  const void* const service = call(found, 8, QName("x", "S"));
  const void* const endpoint = call(service, 2, "p"_t);
  const void* const operation = call(interface, 6, a);
  const void* const bound = call(binding, 3, a, err);
  const void* const parameter = call(bound, 4, err);
  EXPECT_EQ((Objects{call(found, 2, 0, err), call(found, 6, 0, err), call(found, 9, 0, err)}), (Objects{binding, interface, service}));
  EXPECT_EQ((Objects{call(service, 3, 0, err), call(interface, 7, 0, err), call(binding, 4, 0, err)}), (Objects{endpoint, operation, bound}));
  EXPECT_EQ((Objects{call(service, 6), call(operation, 5), call(bound, 5)}), Objects(3, interface));
  EXPECT_EQ((Objects{call(endpoint, 1), call(endpoint, 4)}), (Objects{binding, service}));
  EXPECT_EQ((Objects{call(interface, 1, a), call(interface, 2, 0, err), call(operation, 4, err), call(operation, 7, err)}), Objects(4, nullptr));
  EXPECT_EQ(all<QvbString>(found, {4, 11}) + all<QvbString>(service, {1}) + all<QvbString>(endpoint, {2, 3}) + all<QvbString>(interface, {4}),
            "ddoc 1.1 sdoc edoc p idoc ");
  EXPECT_EQ(all<QvbString>(binding, {1}) + all<QvbString>(bound, {1, 2, 3}) + all<QvbString>(parameter, {1, 3, 4}),
            "doc act http://h adoc pdoc xsd xml ");
  EXPECT_EQ(all<QvbString>(operation, {1, 2}) + all<QvbString>(call(interface, 7, 1, err), {3}), "act http://h bdoc ");
  EXPECT_EQ(all<QName>(service, {5}) + all<QName>(interface, {5}) + all<QName>(binding, {2}) + all<QName>(operation, {6}) + all<QName>(bound, {6}),
            "{x}S {x}I {x}B {x}a {x}a ");
  EXPECT_EQ(all<QName>(parameter, {2}) + all<QName>(call(bound, 7, err), {2}), "{x}in {x}out ");
  EXPECT_EQ(all<int32_t>(found, {3, 7, 10}) + all<int32_t>(service, {4}) + all<int32_t>(interface, {3, 8}) + all<int32_t>(binding, {5}),
            "1 3 2 2 0 2 2 ");
  call<void>(found, 12);
  EXPECT_EQ(script().trace.back(), "DiscoverRelease(42)");

  // A name has its table first, then its two texts.
  const auto* bytes = reinterpret_cast<const char*>(&a);
  EXPECT_EQ(reinterpret_cast<const char*>(&a.getNamespace()) - bytes, 8);
  EXPECT_EQ(reinterpret_cast<const char*>(&a.getLocalName()) - bytes, 40);
}

TEST_F(Abi, Contracts) {
  const void* const logger = qvlogGetLogger("QV.WebService.Client");
  script().logLevel = 3;
  EXPECT_EQ(all<int32_t>(logger, {1}), "3 ");
  const int64_t noArguments[3] = {};  // a va_list points to them
  call<void>(logger, 4, 4, "f", 1, "100%%");
  call<void>(logger, 5, 5, "f", 1, "100%%", noArguments);
  call<void>(logger, 8, 3, "f", 1, 1590, "name");
  EXPECT_EQ(script().logged(), "4 100%%\n5 100%\n3 1590(name)\n");
  const void* const config = qvbGetConfigOptions({});
  script().config["key"] = "value";
  EXPECT_TRUE(call<bool>(config, 3, "key"_t, err_, 0));
  EXPECT_EQ(str(err_), "value");
}

}  // namespace
