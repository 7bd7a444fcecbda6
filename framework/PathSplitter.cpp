#include "framework/PathSplitter.h"

#include <algorithm>

namespace qmf {

std::u16string_view PathSplitter::Next() {
  m_rest.remove_prefix(std::min(m_rest.find_first_not_of(u';'), m_rest.size()));
  const std::u16string_view piece = m_rest.substr(0, m_rest.find(u';'));
  m_rest.remove_prefix(piece.size());
  return piece;
}

std::u16string_view PathExtension(std::u16string_view path) {
  if (path.size() > kMaxPathLength) return {};
  const std::size_t dot = path.rfind(u'.');
  if (dot == std::u16string_view::npos) return {};
  const std::u16string_view extension = path.substr(dot);
  return extension.substr(0, extension.find_last_not_of(u' ') + 1);
}

}  // namespace qmf
