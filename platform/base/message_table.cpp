// SPDX-License-Identifier: Apache-2.0
#include "base/message_table.h"

#include <algorithm>

namespace qvp {
namespace {

// The 21xx are this platform's own; programs parse the sentences, so a published one keeps its form.
constexpr Message kMessages[] = {
    {29, Severity::Error, "t", "Out of memory {1}.", "Memory for an answer to the proxy class could not be had; the argument says for which.",
     "Free memory, or ask for less at a time."},
    {247, Severity::Error, "", "The style of a parameter value is neither file nor string.",
     "A parameter value was made by something else than its factory.", "Make parameter values with the factory."},
    {444, Severity::Error, "", "Out of memory, or a response that cannot be read.",
     "Memory could not be had, or a proxy class ended its rows before their announced end.",
     "Free memory and try again; if it stays, report the proxy class's version."},
    {768, Severity::Error, "i", "A row could not be added to a request: status {1}.",
     "Status 2 is lack of memory; 1 is a cell of another type than its column.", "Free memory and try again."},
    {1420, Severity::Error, "", "The index is out of range.", "An index is negative or not below the number of objects.", "Ask for the count first."},
    {1442, Severity::Error, "ttt", "Prefix '{1}' is bound to '{2}' and cannot be bound to '{3}'.",
     "A namespace prefix was bound twice, to different namespaces.", "Choose another prefix for one of them."},
    {1590, Severity::Notice, "t", "No output value is bound for '{1}'; what was answered for it is dropped.",
     "The service answered with an output that the program did not bind.", "Bind an output value of that name when it is wanted."},
    {1603, Severity::Error, "t", "There is no operation '{1}'.", "A binding was asked for an operation that it does not have.",
     "List the binding's operations."},
    {1725, Severity::Error, "tit", "The proxy method {1} failed with code {2}: {3}", "The proxy class reported an error; the text is its own.",
     "Follow the text."},
    {1726, Severity::Error, "ti", "The proxy method {1} failed with status {2}.",
     "The call did not reach the proxy class or its answer was not understood. Status 1: wrong argument, 2: out of memory, 3: no such method, 5: "
     "wrong answer.",
     "Look into the log of \"QV.Proxy\"; use a proxy module that fits this release."},
    {1774, Severity::Error, "tt", "{1} '{2}' is referred to but not described.",
     "A document refers to an object that it does not hold, or that could not be used.",
     "Correct the name in the document, or add the missing import."},
    {1776, Severity::Error, "tt", "{1} '{2}' is described twice.", "A document describes two objects of one kind under one name.",
     "Rename or remove one of them."},
    {1777, Severity::Error, "tt", "Unexpected row while reading {1}: a row of kind '{2}' must stand here.",
     "A proxy class answered with rows in another order than agreed.", "Use a proxy module that fits this release."},
    {1778, Severity::Error, "tt", "The value '{1}' is not of type {2}.", "An option's value does not convert.",
     "A boolean is true, yes, 1, false, no or 0; an integer is decimal digits with an optional sign, within 32 bits."},
    {1779, Severity::Error, "tttt", "{1} '{2}' does not exist in {3} '{4}'.", "A binding has an operation that its interface lacks.",
     "Correct the names in the document."},
    {1801, Severity::Error, "tt", "Binding '{1}' has style '{2}'; only 'document' is supported.", "The binding's style is another one.",
     "Use a binding of the service with style document, if there is one."},
    {1837, Severity::Error, "t", "There is no binding '{1}'.", "A discovery was asked for a binding that it does not have.",
     "List the discovery's bindings."},
    {2101, Severity::Error, "t", "The stored password cannot be decoded: {1}",
     "What follows {base64} or {sealed} is damaged, or was sealed with another key.", "Store the password again, for instance with qvseal."},
    {2102, Severity::Error, "t", "The key for sealed passwords cannot be used: {1}",
     "seal.key is missing, damaged, or open to others than its owner.",
     "Restore the key with mode 0600, or make a new one with qvseal and seal the passwords again."},
    {2103, Severity::Error, "t", "The configuration cannot be used: {1}", "The configuration file cannot be read or is not valid TOML.",
     "Correct the file at the given line, or name another in QVWS_CONFIG_FILE."},
    {2104, Severity::Error, "t", "The stored credentials cannot be used: {1}",
     "The credentials file is open to others than its owner, cannot be read, or is not valid TOML.",
     "Give the file to its user with mode 0600, and correct it at the given line."},
};

}  // namespace

std::span<const Message> messageTable() {
  return kMessages;
}

const Message* findMessage(int32_t id) {
  const Message* found =
      std::lower_bound(std::begin(kMessages), std::end(kMessages), id, [](const Message& message, int32_t key) { return message.id < key; });
  return found != std::end(kMessages) && found->id == id ? found : nullptr;
}

std::string composeMessage(const Message& message, const std::vector<std::string>& arguments) {
  std::string text = "QVWS-" + std::to_string(message.id) + ": ";
  for (const char* at = message.sentence; *at != '\0'; ++at) {
    if (at[0] == '{' && at[1] >= '1' && at[1] <= '9' && at[2] == '}') {
      text += arguments.at(static_cast<size_t>(at[1] - '1'));
      at += 2;
    } else {
      text += *at;
    }
  }
  return text;
}

}  // namespace qvp
