#include "readers/mkv/MkvModule.h"

#include "framework/ByteOrder.h"
#include "framework/FileReader.h"
#include "framework/ModuleAdapter.h"
#include "framework/PathSplitter.h"
#include "readers/mkv/EbmlElements.h"
#include "readers/mkv/MkvBlocks.h"
#include "readers/mkv/MkvQueries.h"

namespace qmf {
namespace {

constexpr std::int32_t kSure = 100;
// A file of fewer bytes is no film, whatever it begins with.
constexpr std::size_t kProbedBytes = 83;

class MkvReader {
 public:
  explicit MkvReader(QMFAllocator* memory) : m_memory(memory), m_title(memory) {}

  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);
  QMFResult Open(const char16_t* path) {
    m_title.path = path;
    return FileReader::Open(path, m_memory, m_file);
  }
  QMFResult SetTitle(std::uint32_t titleIndex);
  QMFResult SetMenu(std::uint32_t) { return QMF_ERR_NO_MENU_FOUND; }
  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
    return AnswerMkvQuery(m_title, qid, data, index);
  }
  QMFResult SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
    return SetMkvInfo(m_title, qid, data, index);
  }
  QMFResult SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream, std::uint32_t active);
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);
  QMFResult ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                          std::int64_t& time);
  QMFResult ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                  std::int64_t& time);

 private:
  QMFAllocator* const m_memory;
  std::shared_ptr<FileReader> m_file;
  MkvTitle m_title;
};

bool StartsWithEbmlMagic(std::span<const std::uint8_t> bytes) {
  return LoadBE32(bytes.data()) == ElementId(Element::Ebml);
}

// Upper-case spellings do not count here, unlike with other modules.
bool HasMatroskaExtension(const char16_t* path) {
  const std::u16string_view extension = PathExtension(path);
  return extension == u".mkv" || extension == u".qf3";
}

QMFResult MkvReader::Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory) {
  std::shared_ptr<FileReader> file;
  if (FileReader::Open(path, memory, file) != QMF_OK) {
    if (HasMatroskaExtension(path)) score = kSure;
    return QMF_OK;
  }
  const auto head = file->View(0, kProbedBytes);
  if (head.size() == kProbedBytes && StartsWithEbmlMagic(head)) score = kSure;
  return QMF_OK;
}

QMFResult MkvReader::SetTitle(std::uint32_t titleIndex) {
  if (titleIndex != 0) return QMF_ERR_INVALID_TITLE_INDEX;
  auto segment = std::allocate_shared<MkvSegment>(std::pmr::polymorphic_allocator<MkvSegment>(m_memory),
                                                  m_file, m_memory);
  QMF_RETURN_IF_NONZERO(ReadMkvSegment(*segment));
  m_title.Select(std::move(segment));
  return QMF_OK;
}

QMFResult MkvReader::SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream,
                                          std::uint32_t active) {
  MkvSegment* const segment = m_title.singleSegment.get();
  MkvTrack* const track = segment != nullptr ? segment->tracks.FindStream(blockType, stream) : nullptr;
  if (track == nullptr) return QMF_ERR_INVALID_STREAM;
  track->active = active != 0;
  return QMF_OK;
}

// Without a selected title there is no stream.

QMFResult MkvReader::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  if (m_title.singleSegment == nullptr) return QMF_ERR_INVALID_STREAM;
  return m_title.Blocks().SetPosition(blockType, stream, time);
}

QMFResult MkvReader::ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                                   std::int64_t& time) {
  if (m_title.singleSegment == nullptr) return QMF_ERR_END_OF_STREAM;
  QMF_RETURN_IF_NONZERO(m_title.Blocks().ReadNext(blockType, stream, block));
  time = block.time;
  return QMF_OK;
}

QMFResult MkvReader::ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                           std::int64_t& time) {
  if (m_title.singleSegment == nullptr) return QMF_ERR_INVALID_STREAM;
  QMF_RETURN_IF_NONZERO(m_title.Blocks().ReadNextByStream(blockType, stream, block));
  time = block.time;
  return QMF_OK;
}

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 1, 0}, u".mkv", u"MKV read module."};
constexpr QMFModuleEntryPoints kEntryPoints =
    ModuleAdapter<MkvReader>::EntryPoints([] { return &kHeader; }, {5, 21, 22, 23, 24, 25});

}  // namespace

constexpr QMFModuleDescriptor kMkvModule = {kModuleMkv, &kHeader, &kEntryPoints};

}  // namespace qmf
