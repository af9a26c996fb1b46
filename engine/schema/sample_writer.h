// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SAMPLE_WRITER_H
#define QVX_SCHEMA_SAMPLE_WRITER_H

#include "schema/sample_value.h"
#include "schema/schema_index.h"

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvx::schema {

/// Writes a sample of one element; one object a sample.
class SampleWriter {
 public:
  SampleWriter(Index& index, SampleValues& values) : index_(index), values_(values) {}

  void write(Element& element, int indent, std::string& out);

 private:
  void writeElement(Element& element, int indent, std::string& out);
  void writeContent(const Particle& particle, int indent, std::string& out);
  void writeParticleOnce(const Particle& particle, int indent, std::string& out);
  void writeAny(const Wildcard& any, int indent, std::string& out);
  void writeAttributes(Type& type, std::string& out);
  bool mayAdd(const Particle& particle);
  /// True when the required content can be written without going into what is nested too often already.
  bool finite(const Particle& particle, int depth);
  bool finite(Type& type, int depth);
  std::string prefix(const std::string& ns);
  std::string tag(const QualifiedName& name);
  std::string textValue(Type& type);
  Type& instanceType(Element& element, std::string& xsiType);

  Index& index_;
  SampleValues& values_;
  std::string rootNs_;
  std::map<std::string, std::string> prefixes_;
  std::vector<std::pair<std::string, std::string>> declared_;  ///< prefix and namespace, in order of use
  std::unordered_map<const Type*, int> open_;                  ///< how often a type encloses the current position
  int exhausted_ = 0;                                          ///< how many of them are open as often as they may be
  std::vector<const Type*> probing_;
  int probes_ = 0;
  unsigned serial_ = 0;
  int depth_ = 0;
  std::size_t written_ = 0;
};

}  // namespace qvx::schema

#endif
