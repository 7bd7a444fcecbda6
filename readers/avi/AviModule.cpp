#include "readers/avi/AviModule.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "framework/ModuleAdapter.h"
#include "framework/PathSplitter.h"
#include "framework/ReturnIf.h"
#include "readers/avi/AviBlocks.h"
#include "readers/avi/AviChunks.h"
#include "readers/avi/AviHeaderScan.h"
#include "readers/avi/AviQueries.h"

namespace qmf {
namespace {

constexpr std::int32_t kSureScore = 100;

// For names that cannot be opened; as a whole in lower or upper case only.
bool HasKnownExtension(const char16_t* path) {
  static constexpr std::u16string_view kExtensions[] = {u".qivo", u".avi",  u".AVI",
                                                        u".QIVO", u".xsub", u".XSUB"};
  return std::ranges::find(kExtensions, PathExtension(path)) != std::end(kExtensions);
}

bool ReadAviRiff(FileReader& file, AviChunk& riff) {
  return AviChunkReader(file).Read(0, riff) && riff.IsRiff(kFccAVI);
}

// A reader that cannot even be made is a file that cannot be opened.
QMFResult OpenFile(const char16_t* path, AviContainer& container) {
  try {
    return FileReader::Open(path, container.memory, container.file);
  } catch (const std::bad_alloc&) {
    return QMF_FILE_NOT_OPENED;
  }
}

void ResetReadState(AviTitle& title) {
  for (AviStream& stream : title.streams) stream.read = {.active = stream.read.active};
}

void SetUpSeekTable(AviContainer& container) {
  const AviTitle& title = container.title;
  if (container.menu.hasRiff || title.hasOpenDmlIndex || title.extensionsOffset != 0) {
    container.onTheFlyIndex = false;
  }
  if (container.onTheFlyIndex) container.seekTable.Reserve(title.Video().header.Length());
}

}  // namespace

QMFResult AviReader::Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory) {
  std::shared_ptr<FileReader> file;
  AviChunk riff;
  const bool accepted =
      FileReader::Open(path, memory, file) == QMF_OK ? ReadAviRiff(*file, riff) : HasKnownExtension(path);
  score = accepted ? kSureScore : 0;
  return QMF_OK;
}

QMFResult AviReader::Open(const char16_t* path) {
  QMF_RETURN_IF_NONZERO(OpenFile(path, m_container));
  AviChunk riff;
  // Anything else opens without a title.
  return ReadAviRiff(*m_container.file, riff) ? DiscoverAviMenu(m_container, riff.Next()) : QMF_OK;
}

QMFResult AviReader::SetTitle(std::uint32_t titleIndex) {
  ResetReadState(m_container.title);
  m_container.onTheFlyIndex = true;
  const QMFResult result = ScanAviHeaders(m_container, titleIndex);
  QMF_RETURN_IF_FAILURE(result);
  SetUpSeekTable(m_container);
  return result;
}

// Menus are a player's affair.
QMFResult AviReader::SetMenu(std::uint32_t) {
  return QMF_OK;
}

QMFResult AviReader::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  return AnswerAviQuery(m_container, {qid, data, index});
}

QMFResult AviReader::SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t) {
  return SetAviInfo(m_container, qid, data);
}

QMFResult AviReader::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  return SetAviPosition(m_container, blockType, stream, time);
}

QMFResult AviReader::ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                                   std::int64_t& time) {
  return ReadAviBlock(m_container, blockType, stream, block, time);
}

QMFResult AviReader::ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                           std::int64_t& time) {
  return ReadAviBlockOf(m_container, blockType, stream, block, time);
}

QMFResult AviReader::SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream,
                                          std::uint32_t active) {
  return SetAviStreamActive(m_container, blockType, stream, active != 0);
}

namespace {

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 1, 0}, u".avi, .qivo", u"AVI 1.0 and AVI 2.0 read module."};
constexpr QMFModuleEntryPoints kEntryPoints =
    ModuleAdapter<AviReader>::EntryPoints([] { return &kHeader; }, {5, 21, 22, 23, 24, 25});

}  // namespace

constexpr QMFModuleDescriptor kAviModule = {kModuleAvi, &kHeader, &kEntryPoints};

}  // namespace qmf
