#include "tests/support/EbmlBuilder.h"

namespace qmf::test {

EbmlBuilder& EbmlBuilder::Raw(const Bytes& bytes) {
  m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
  return *this;
}

}  // namespace qmf::test
