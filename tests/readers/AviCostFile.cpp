#include "tests/readers/CostFiles.h"
#include "tests/support/AviBuilder.h"

namespace qmf::test {

std::vector<std::uint8_t> AviOfCost(std::size_t more) {
  Bytes chunks;
  for (std::size_t i = 0; i < more; ++i) chunks += Chunk("JUNK", "more");
  AviParts parts;
  parts.streams[0] = VideoStream({}, {}, chunks);
  parts.movi = List("movi", Chunk("00dc", Bytes(100'000, 'f')));
  const Bytes file = parts.Build();
  return {file.begin(), file.end()};
}

}  // namespace qmf::test
