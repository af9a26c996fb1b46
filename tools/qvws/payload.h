// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_PAYLOAD_H
#define QVWSCLI_PAYLOAD_H

#include "content_model.h"
#include "xml.h"

#include <string>
#include <string_view>
#include <vector>

namespace qvwscli {

/// The payload of a request: that of the sample, with values filled in, and without what is optional and was not given.
class Payload {
 public:
  /// @param sample  the payload's element in the sample
  /// @param around  namespaces that are declared around the payload
  Payload(xmlNode* sample, const ContentModel& model, Namespaces around);

  /// Fills a child: NAME=VALUE, NAME=@FILE (the file's text), NAME:=XML (the element's content, or the element itself). NAME is a path of names
  /// from the payload down, each a local name or {namespace}local, the last one perhaps @ATTRIBUTE; "." is the payload itself. A name that was filled
  /// before begins a new element: of that name or of the nearest one above it that may be there more than once.
  /// @throw Failure  Usage: the argument has not that form; Input: no such name, or a value that cannot be used
  void fill(const std::string& argument);

  /// Leaves out what is optional and was not filled. An element of which the schema says nothing stays.
  void prune();

  /// What was not filled and holds a value of the sample, by name.
  [[nodiscard]] std::vector<std::string> sampled() const;

  [[nodiscard]] std::string text() const;

 private:
  struct Attribute {
    std::string tag;
    std::string name;  ///< QName text
    std::string value;
    bool optional = false;
    bool filled = false;
  };
  struct Node {
    std::string tag;   ///< with its prefix
    std::string name;  ///< QName text
    Namespaces declared;
    std::vector<Attribute> attributes;
    std::vector<Node> children;
    std::string content;    ///< as it is written: text, or XML that was given
    bool replaced = false;  ///< `content` is the whole element
    bool filled = false;
    bool known = false;  ///< the schema tells of it; else the next three are what is safe
    bool optional = false;
    bool many = false;
    bool placeholder = false;  ///< stands for any element
    std::vector<const xmlNode*> groups;

    [[nodiscard]] bool touched() const;
  };
  using Path = std::vector<std::string_view>;

  static Node read(xmlNode* element, xmlNode* type, const ContentModel& model);
  static void prune(Node& node);
  static void write(const Node& node, int indent, std::string& out);
  static void addSampled(const Node& node, const std::string& path, std::vector<std::string>& to);
  static void addNames(const Node& node, const std::string& path, std::vector<std::string>& to);
  static Node* current(Node& parent, std::string_view name);

  [[noreturn]] void refuseName(std::string_view name) const;
  Node& nextInstance(const std::vector<Node*>& chain, const Path& path, std::string_view name);
  [[nodiscard]] Node pristine(const Path& path, std::size_t steps) const;
  std::vector<Node*> walk(const Path& path, std::string_view name);
  void setXml(Node& node, std::string_view xml, const std::string& where) const;
  void setText(Node& node, std::string_view text, std::string_view name) const;
  void setAttribute(Node& node, std::string_view attribute, std::string_view text, std::string_view name) const;

  Namespaces around_;
  Node root_;
  Node sample_;  ///< as it was
};

}  // namespace qvwscli

#endif
