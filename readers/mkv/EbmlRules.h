#pragma once

#include <algorithm>
#include <span>

#include "framework/ReturnIf.h"
#include "readers/mkv/EbmlReader.h"

namespace qmf {

/// What to do with one kind of child of a master element: a format is a constant table of these, and
/// WalkChildren the one that walks.
template <class Target>
struct EbmlRule {
  Element kind;
  QMFResult (*read)(Target& target, EbmlReader& reader, const EbmlElement& element);
};

/// Applies the rules to the children of `master`, in file order. Children without a rule (Void, CRC-32 and
/// whatever is unknown) are skipped by their size. Ends with the master or the file; a header that the format
/// forbids, a child that leaves its parent and nesting too deep give QMF_FAILURE.
template <class Target>
QMFResult WalkChildren(EbmlReader& reader, const EbmlElement& master, std::span<const EbmlRule<Target>> rules,
                       Target& target) {
  const EbmlReader::Level level(reader);
  if (level.TooDeep()) return QMF_FAILURE;
  EbmlElement child;
  for (std::uint64_t at = master.payload; at < std::min(master.end, reader.FileSize()); at = child.end) {
    QMF_RETURN_IF_NONZERO(reader.ReadHeader(at, master.end, child));
    const auto rule = std::ranges::find_if(rules, [&](const auto& each) { return child.Is(each.kind); });
    if (rule != rules.end()) QMF_RETURN_IF_NONZERO(rule->read(target, reader, child));
  }
  return QMF_OK;
}

namespace ebml_rules {
template <class Class, class Member>
Class ClassOfMember(Member Class::*);
template <class Target>
Target TargetOfRule(const EbmlRule<Target>&);
}  // namespace ebml_rules

/// Reads the element into the target's member.
template <auto member, class Target = decltype(ebml_rules::ClassOfMember(member))>
QMFResult ReadInto(Target& target, EbmlReader& reader, const EbmlElement& element) {
  return reader.Read(element, target.*member);
}

/// Walks into the element by `rules` with the same target.
template <const auto& rules, class Target = decltype(ebml_rules::TargetOfRule(rules[0]))>
QMFResult WalkInto(Target& target, EbmlReader& reader, const EbmlElement& element) {
  return WalkChildren<Target>(reader, element, rules, target);
}

}  // namespace qmf
