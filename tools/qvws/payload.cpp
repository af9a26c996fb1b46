// SPDX-License-Identifier: Apache-2.0
#include "payload.h"

#include "exit_code.h"
#include "files.h"

#include <algorithm>
#include <utility>

namespace qvwscli {
namespace {

constexpr std::size_t kMostNames = 40;
constexpr std::string_view kInstance = "http://www.w3.org/2001/XMLSchema-instance";

std::string_view local(std::string_view name) {
  return name.substr(name.rfind('}') + 1);
}

bool isNamed(std::string_view name, std::string_view asked) {
  return name == asked || local(name) == asked;
}

template <typename Node>
std::string tagOf(const Node* node) {
  const bool prefixed = node->ns != nullptr && node->ns->prefix != nullptr;
  return (prefixed ? reinterpret_cast<const char*>(node->ns->prefix) + std::string(":") : std::string()) + reinterpret_cast<const char*>(node->name);
}

/// The first of some characters that stands in no {namespace}.
std::size_t findOutside(std::string_view text, std::string_view characters, std::size_t from = 0) {
  bool inside = false;
  for (std::size_t at = from; at < text.size(); ++at) {
    if (text[at] == '{' || text[at] == '}') inside = text[at] == '{';
    if (!inside && characters.find(text[at]) != std::string_view::npos) return at;
  }
  return std::string_view::npos;
}

std::vector<std::string_view> splitPath(std::string_view name) {
  std::vector<std::string_view> path;
  for (std::size_t begin = 0;;) {
    const std::size_t end = findOutside(name, "/", begin);
    const std::string_view step = name.substr(begin, end == std::string_view::npos ? end : end - begin);
    if (step != ".") path.push_back(step);
    if (end == std::string_view::npos) return path;
    begin = end + 1;
  }
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i == kMostNames) return text + ", ... and " + std::to_string(names.size() - i) + " more";
    text += (i == 0 ? "" : ", ") + names[i];
  }
  return text;
}

}  // namespace

bool Payload::Node::touched() const {
  return filled || std::any_of(attributes.begin(), attributes.end(), [](const Attribute& a) { return a.filled; }) ||
         std::any_of(children.begin(), children.end(), [](const Node& child) { return child.touched(); });
}

Payload::Payload(xmlNode* sample, const ContentModel& model, Namespaces around)
    : around_(std::move(around)), root_(read(sample, model.typeOfElement(qualifiedName(sample)), model)), sample_(root_) {}

Payload::Node Payload::read(xmlNode* element, xmlNode* type, const ContentModel& model) {
  Node node;
  node.tag = tagOf(element);
  node.name = qualifiedName(element);
  for (const xmlNs* ns = element->nsDef; ns != nullptr; ns = ns->next) {
    const auto text = [](const xmlChar* part) { return part == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(part)); };
    node.declared.emplace_back(text(ns->prefix), text(ns->href));
  }
  for (xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
    xmlChar* value = xmlNodeGetContent(reinterpret_cast<xmlNode*>(attribute));
    const std::string ns = attribute->ns == nullptr ? std::string() : reinterpret_cast<const char*>(attribute->ns->href);
    Attribute own{tagOf(attribute), qualifiedName(ns, reinterpret_cast<const char*>(attribute->name)),
                  value == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(value))};
    xmlFree(value);
    if (ns == kInstance && local(own.name) == "type") {
      const std::size_t colon = own.value.find(':');
      const std::string prefix = colon == std::string::npos ? std::string() : own.value.substr(0, colon);
      const xmlNs* named = xmlSearchNs(element->doc, element, prefix.empty() ? nullptr : reinterpret_cast<const xmlChar*>(prefix.c_str()));
      type = model.type(qualifiedName(named == nullptr ? "" : reinterpret_cast<const char*>(named->href), own.value.substr(colon + 1)));
    }
    node.attributes.push_back(std::move(own));
  }
  for (Attribute& attribute : node.attributes) attribute.optional = model.isOptionalAttribute(type, attribute.name);

  const std::vector<Slot> slots = model.children(type);
  std::size_t at = 0;
  for (xmlNode* child = firstElement(element); child != nullptr; child = nextElement(child)) {
    const std::string name = qualifiedName(child);
    const Slot* slot = model.find(slots, name, at);
    // A member of a substitution group, or what a wildcard lets in, is of its own type.
    node.children.push_back(read(child, slot != nullptr && slot->name == name ? slot->type : model.typeOfElement(name), model));
    if (slot == nullptr) continue;
    Node& last = node.children.back();
    last.known = true;
    last.optional = slot->optional;
    last.many = slot->many;
    last.placeholder = slot->wildcard && local(name) == "any" && child->children == nullptr;
    last.groups = slot->groups;
  }
  if (!node.children.empty()) return node;
  xmlChar* content = xmlNodeGetContent(element);
  node.content = content == nullptr ? std::string() : escaped(reinterpret_cast<const char*>(content), "the sample");
  xmlFree(content);
  return node;
}

void Payload::addNames(const Node& node, const std::string& path, std::vector<std::string>& to) {
  for (const Attribute& attribute : node.attributes) {
    if (attribute.name.find(kInstance) == std::string::npos) to.push_back(path + "@" + std::string(local(attribute.name)));
  }
  for (const Node& child : node.children) {
    const std::string name = path + std::string(local(child.name));
    if (child.children.empty()) to.push_back(name);
    addNames(child, name + "/", to);
  }
}

void Payload::refuseName(std::string_view name) const {
  std::vector<std::string> names;
  addNames(sample_, "", names);
  if (sample_.children.empty()) names.insert(names.begin(), ".");
  throw Failure(ExitCode::Input, "-p " + std::string(name) + ": " + sample_.name + " has nothing of that name; there is: " + joined(names));
}

/// The element of that name that a value goes into: the last one that was touched, else the first.
Payload::Node* Payload::current(Node& parent, std::string_view name) {
  Node* found = nullptr;
  for (Node& child : parent.children) {
    if (isNamed(child.name, name) && (found == nullptr || child.touched())) found = &child;
  }
  return found;
}

std::vector<Payload::Node*> Payload::walk(const Path& path, std::string_view name) {
  std::vector<Node*> chain = {&root_};
  for (const std::string_view step : path) {
    Node* next = current(*chain.back(), step);
    if (next == nullptr) refuseName(name);
    chain.push_back(next);
  }
  return chain;
}

Payload::Node Payload::pristine(const Path& path, std::size_t steps) const {
  const Node* node = &sample_;
  for (std::size_t i = 0; i < steps; ++i) {
    node = &*std::find_if(node->children.begin(), node->children.end(), [&](const Node& child) { return isNamed(child.name, path[i]); });
  }
  return *node;
}

Payload::Node& Payload::nextInstance(const std::vector<Node*>& chain, const Path& path, std::string_view name) {
  // What may be there more than once, nearest to the value; where the schema is silent, the element itself.
  std::size_t level = chain.size() - 1;
  while (level > 0 && !chain[level]->many) --level;
  if (level == 0 && chain.size() > 1 && !chain.back()->known) level = chain.size() - 1;
  if (level == 0) throw Failure(ExitCode::Input, "-p " + std::string(name) + " is given twice, and nothing on its path may be there more than once");

  std::vector<Node>& siblings = chain[level - 1]->children;
  const auto old = static_cast<std::size_t>(chain[level] - siblings.data());
  const bool another = old + 1 < siblings.size() && siblings[old + 1].name == siblings[old].name && !siblings[old + 1].touched();
  if (!another) siblings.insert(siblings.begin() + static_cast<std::ptrdiff_t>(old) + 1, pristine(path, level));
  Node* node = &siblings[old + 1];
  for (std::size_t i = level; i < path.size(); ++i) node = current(*node, path[i]);
  return *node;
}

void Payload::setXml(Node& node, std::string_view xml, const std::string& where) const {
  Namespaces scope = around_;
  for (const auto& own : sample_.declared) {
    scope.erase(std::remove_if(scope.begin(), scope.end(), [&](const auto& other) { return other.first == own.first; }), scope.end());
    scope.push_back(own);
  }
  // Parsed where it will stand, so that it may use the prefixes of that place, and so that it cannot end the element it is put into.
  std::string content(xml);
  const Document document = parseContent(content, scope, where);
  xmlNode* wrapper = xmlDocGetRootElement(document.get());
  xmlNode* only = firstElement(wrapper);
  const bool one = only != nullptr && xmlChildElementCount(wrapper) == 1;
  if (node.placeholder && !one) throw Failure(ExitCode::Input, where + ": one element must stand here");
  node.replaced = node.placeholder || (one && qualifiedName(only) == node.name);
  node.content = std::move(content);
  node.children.clear();
}

void Payload::setText(Node& node, std::string_view text, std::string_view name) const {
  if (!node.children.empty()) {
    std::vector<std::string> names;
    addNames(node, name == "." ? "" : std::string(name) + "/", names);
    throw Failure(ExitCode::Input,
                  "-p " + std::string(name) + " holds elements and no text; fill these: " + joined(names) + ", or give their XML with :=");
  }
  if (node.placeholder) throw Failure(ExitCode::Input, "-p " + std::string(name) + " stands for any element and no text; give its XML with :=");
  node.content = escaped(text, "-p " + std::string(name));
}

void Payload::setAttribute(Node& node, std::string_view attribute, std::string_view text, std::string_view name) const {
  for (Attribute& own : node.attributes) {
    if (!isNamed(own.name, attribute)) continue;
    if (own.filled) throw Failure(ExitCode::Input, "-p " + std::string(name) + " is given twice");
    own.filled = true;
    own.value = text;
    return;
  }
  refuseName(name);
}

void Payload::fill(const std::string& argument) {
  const std::size_t sign = findOutside(argument, "=");
  if (sign == std::string::npos || sign == 0 || (sign == 1 && argument[0] == ':')) {
    throw Failure(ExitCode::Usage, "-p wants NAME=VALUE, NAME=@FILE or NAME:=XML");
  }
  const bool isXml = argument[sign - 1] == ':';
  const std::string_view name = std::string_view(argument).substr(0, isXml ? sign - 1 : sign);
  std::string value = argument.substr(sign + 1);
  if (!isXml && !value.empty() && value.front() == '@') value = readAll(value.substr(1));

  Path path = splitPath(name);
  const bool isAttribute = !path.empty() && !path.back().empty() && path.back().front() == '@';
  if (isAttribute) {
    const std::string_view attribute = path.back().substr(1);
    path.pop_back();
    if (isXml) throw Failure(ExitCode::Input, "-p " + std::string(name) + " is an attribute, which holds no XML; use =");
    const std::vector<Node*> chain = walk(path, name);
    const auto& own = chain.back()->attributes;
    const bool again = std::any_of(own.begin(), own.end(), [&](const Attribute& a) { return a.filled && isNamed(a.name, attribute); });
    return setAttribute(again && !path.empty() ? nextInstance(chain, path, name) : *chain.back(), attribute, value, name);
  }
  const std::vector<Node*> chain = walk(path, name);
  Node& node = chain.back()->filled || (isXml && chain.back()->touched()) ? nextInstance(chain, path, name) : *chain.back();
  if (isXml) {
    setXml(node, value, "-p " + std::string(name));
  } else {
    setText(node, value, name);
  }
  node.filled = true;
  // What has a value is not nil.
  node.attributes.erase(
      std::remove_if(node.attributes.begin(), node.attributes.end(), [](const Attribute& a) { return a.name == qualifiedName(kInstance, "nil"); }),
      node.attributes.end());
}

void Payload::prune(Node& node) {
  node.attributes.erase(std::remove_if(node.attributes.begin(), node.attributes.end(), [](const Attribute& a) { return a.optional && !a.filled; }),
                        node.attributes.end());
  // The members of a group go together: one that was given keeps the others, unless they are optional themselves.
  std::vector<const xmlNode*> kept;
  for (const Node& child : node.children) {
    if (child.touched()) kept.insert(kept.end(), child.groups.begin(), child.groups.end());
  }
  const auto leaveOut = [&](const Node& child) {
    if (child.touched()) return false;
    return child.optional || std::any_of(child.groups.begin(), child.groups.end(),
                                         [&](const xmlNode* group) { return std::find(kept.begin(), kept.end(), group) == kept.end(); });
  };
  node.children.erase(std::remove_if(node.children.begin(), node.children.end(), leaveOut), node.children.end());
  for (Node& child : node.children) prune(child);
}

void Payload::prune() {
  prune(root_);
}

void Payload::addSampled(const Node& node, const std::string& path, std::vector<std::string>& to) {
  const auto add = [&](const std::string& name) {
    if (std::find(to.begin(), to.end(), name) == to.end()) to.push_back(name);
  };
  for (const Attribute& attribute : node.attributes) {
    if (!attribute.filled && attribute.name.find(kInstance) == std::string::npos) {
      add(path + (path.empty() ? "@" : "/@") + std::string(local(attribute.name)));
    }
  }
  if (node.filled) return;
  if (node.placeholder || !node.content.empty()) add(path.empty() ? "." : path);
  for (const Node& child : node.children) addSampled(child, (path.empty() ? "" : path + "/") + std::string(local(child.name)), to);
}

std::vector<std::string> Payload::sampled() const {
  std::vector<std::string> names;
  addSampled(root_, "", names);
  return names;
}

void Payload::write(const Node& node, int indent, std::string& out) {
  const std::string margin(static_cast<std::size_t>(indent), ' ');
  out += margin;
  if (node.replaced) {
    out += node.content + "\n";
    return;
  }
  out += "<" + node.tag + declarations(node.declared);
  for (const Attribute& attribute : node.attributes) {
    out += " " + attribute.tag + "=\"" + escaped(attribute.value, "attribute " + attribute.name, true) + "\"";
  }
  if (!node.children.empty()) {
    out += ">\n";
    for (const Node& child : node.children) write(child, indent + 2, out);
    out += margin + "</" + node.tag + ">\n";
  } else if (node.content.empty()) {
    out += "/>\n";
  } else {
    out += ">" + node.content + "</" + node.tag + ">\n";
  }
}

std::string Payload::text() const {
  std::string out;
  write(root_, 0, out);
  out.pop_back();  // the line's end
  return out;
}

}  // namespace qvwscli
