// The walkers that the container readers stand on, each over a whole input. The first byte chooses.

#include <string>
#include <vector>

#include "framework/Text.h"
#include "readers/avi/AviChunks.h"
#include "readers/mkv/EbmlRules.h"
#include "readers/mp4/Mp4AtomReader.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/support/Contract.h"

namespace qmf::fuzz {
namespace {

using test::Require;

constexpr int kMostMasters = 4096;

EbmlType TypeOf(std::uint32_t id) {
  for (const EbmlElementRow& row : EbmlElementTable()) {
    if (row.id == id && row.name != nullptr) return row.type;
  }
  return EbmlType::None;
}

class EbmlWalk {
 public:
  explicit EbmlWalk(FileReader& file) : m_reader(file, &m_heap) {}

  void Walk(const EbmlElement& master) {
    const EbmlReader::Level level(m_reader);
    if (level.TooDeep() || ++m_masters > kMostMasters) return;
    EbmlElement child;
    for (std::uint64_t at = master.payload; at < std::min(master.end, m_reader.FileSize()); at = child.end) {
      const QMFResult result = m_reader.ReadHeader(at, master.end, child);
      test::RequireKnown(result);
      if (result != QMF_OK) return;
      Require(child.start == at && child.payload > at && child.end >= child.payload,
              "an element that advances");
      Require(child.end <= master.end || child.end == EbmlElement::kOpenEnd, "a child within its parent");
      Enter(child);
    }
  }

  QMFAllocator& Heap() { return m_heap; }

 private:
  void Enter(const EbmlElement& element) {
    switch (TypeOf(element.id)) {
      case EbmlType::Master:
        return Walk(element);
      case EbmlType::Unsigned:
        return Read<std::uint64_t>(element);
      case EbmlType::Signed:
        return Read<std::int64_t>(element);
      case EbmlType::Flag:
        return Read<bool>(element);
      case EbmlType::Float:
        return Read<double>(element);
      case EbmlType::Binary:
        return ReadList<std::uint8_t>(element);
      case EbmlType::Utf8:
      case EbmlType::Ascii:
        return ReadText(element);
      case EbmlType::None:
        return ReadList<std::uint64_t>(element);
    }
  }

  template <class Value>
  void Read(const EbmlElement& element) {
    Value value{};
    test::RequireKnown(m_reader.Read(element, value));
  }
  template <class Value>
  void ReadList(const EbmlElement& element) {
    std::pmr::vector<Value> values(&m_heap);
    test::RequireKnown(m_reader.Read(element, values));
    Require(values.size() <= element.Size() + 1, "no more values than bytes");
  }
  void ReadText(const EbmlElement& element) {
    std::pmr::u16string text(&m_heap);
    test::RequireKnown(m_reader.Read(element, text));
    Require(text.size() <= EbmlReader::kMaxTextSize, "a text of at most 1 MiB");
    Require(ToUtf16(ToUtf8(text)) == std::u16string_view(text), "text that survives its conversions");
  }

  test::BudgetHeap m_heap{test::PropertyBudget::kHeap};
  EbmlReader m_reader;
  int m_masters = 0;
};

void WalkElements(FileReader& file) {
  EbmlWalk walk(file);
  walk.Walk({0, 0, 0, EbmlElement::kOpenEnd});
}

class RiffWalk {
 public:
  explicit RiffWalk(FileReader& file) : m_reader(file) {}

  QMFResult WalkList(const AviChunk& list) {
    if (m_depth == EbmlReader::kMaxDepth) return QMF_OK;
    ++m_depth;
    const QMFResult result = Walk(list.Children(), list.End());
    --m_depth;
    return result;
  }

  QMFResult Walk(std::uint64_t begin, std::uint64_t end) {
    static constexpr AviChunkRow<RiffWalk> kRows[] = {
        {kFccList, 0, &RiffWalk::WalkList},
#define AVI_FOURCC(constant, text) {constant, 0, &RiffWalk::Check},
#include "readers/avi/AviFourCCs.inc"
#undef AVI_FOURCC
    };
    return m_reader.Walk<RiffWalk>(begin, end, kRows, *this, QMF_ERR_FILE_CORRUPT);
  }

  QMFResult Check(const AviChunk& chunk) {
    Require(chunk.Next() > chunk.offset && chunk.End() >= chunk.Payload(), "a chunk that advances");
    return chunk.id == kFccRIFF ? WalkList(chunk) : QMF_OK;
  }

 private:
  AviChunkReader m_reader;
  int m_depth = 0;
};

void WalkChunks(FileReader& file) {
  test::RequireKnown(RiffWalk(file).Walk(0, file.Size()));
}

struct AtomWalk {
  std::uint64_t fields = 0;
};

AtomVerdict ReadAtom(AtomWalk& walk, CMP4Atom& atom) {
  Require(atom.payload > atom.start && atom.end >= atom.payload, "an atom that advances");
  CMP4Fields fields = atom.AllFields();
  for (std::size_t width = 1; !fields.Failed(); width = width % 8 + 1) walk.fields += fields.Number(width);
  Require(fields.Rest().empty() && fields.U32() == 0, "nothing behind the end");
  const FourCC type = atom.type;
  return type == MakeFourCC("skip")   ? AtomVerdict::kStop
         : type == MakeFourCC("free") ? AtomVerdict::kIgnored
                                      : AtomVerdict::kTaken;
}

constexpr AtomRow<AtomWalk> kInnerAtoms[] = {
    {MakeFourCC("mvhd"), AtomUse::kRequired, ReadAtom},
    {MakeFourCC("skip"), AtomUse::kRepeated, ReadAtom},
    {MakeFourCC("free"), AtomUse::kRepeated, ReadAtom},
};
constexpr AtomRow<AtomWalk> kMiddleAtoms[] = {
    {MakeFourCC("trak"), AtomUse::kRepeated, nullptr, kInnerAtoms},
    {MakeFourCC("udta"), AtomUse::kOptional, ReadAtom, kInnerAtoms},
};
constexpr AtomRow<AtomWalk> kOuterAtoms[] = {
    {MakeFourCC("ftyp"), AtomUse::kOptional, ReadAtom},
    {MakeFourCC("moov"), AtomUse::kRepeated, nullptr, kMiddleAtoms},
};

void WalkAtoms(FileReader& file) {
  AtomWalk walk;
  (void)CMP4AtomWalker(file).Walk(walk, kOuterAtoms, 0, file.Size(), true);
}

void Run(std::span<const std::uint8_t> input) {
  if (input.empty()) return;
  const auto file = FuzzInput(input.subspan(1)).MakeReader();
  const test::ReadingCosts costs(*file);
  switch (input[0] % 3) {
    case 0:
      WalkElements(*file);
      break;
    case 1:
      WalkChunks(*file);
      break;
    default:
      WalkAtoms(*file);
  }
  costs.RequireWithinBudget();
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qmf::fuzz::Run({data, size});
  return 0;
}
