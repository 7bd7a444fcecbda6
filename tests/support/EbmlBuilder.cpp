#include "tests/support/EbmlBuilder.h"

namespace qmf::test {

Bytes ElementHead(std::uint32_t id, std::uint64_t size, std::size_t width) {
  return BigEndian(id, id > 0xFFFFFF ? 4
                       : id > 0xFFFF ? 3
                       : id > 0xFF   ? 2
                                     : 1) +
         BigEndian(size | std::uint64_t{1} << (7 * width), width);
}

Bytes Put(Element kind, const Bytes& payload) {
  return ElementHead(ElementId(kind), payload.size()) + payload;
}

}  // namespace qmf::test
