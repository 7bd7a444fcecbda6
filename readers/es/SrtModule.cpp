#include "readers/es/SrtModule.h"

#include <algorithm>
#include <cstring>

#include "framework/ModuleAdapter.h"
#include "framework/PathSplitter.h"
#include "framework/QueryAnswer.h"
#include "readers/es/StreamLength.h"

namespace qmf {
namespace {

constexpr std::int32_t kSureScore = 100;
constexpr std::uint8_t kSubtitleKind = 0x21;
// As far as the last cue is looked for.
constexpr std::uint64_t kMaxScanned = 8U << 20;

}  // namespace

QMFResult SrtReader::Probe(std::int32_t& score, const char16_t* path, QMFAllocator*) {
  score = PathExtension(path) == u".srt" ? kSureScore : 0;
  return QMF_OK;
}

QMFResult SrtReader::Open(const char16_t* path) {
  QMF_RETURN_IF_NONZERO(OpenFile(path));
  QMF_RETURN_IF_NONZERO(DetectSrtEncoding(File(), m_encoding, m_textOffset));
  Rewind();
  return QMF_OK;
}

void SrtReader::Rewind() {
  m_reader.emplace(Start());
  m_next.reset();
}

QMFResult SrtReader::ReadBlock(QMFBlock& block) {
  if (!m_next) {
    m_next.emplace();
    if (!m_reader->ReadCue(*m_next)) {
      m_next.reset();
      return QMF_ERR_END_OF_STREAM;
    }
  }
  const auto size = static_cast<std::uint32_t>(std::strlen(m_next->text));
  block.required = size;
  if (block.capacity < size) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  block.size = size;
  std::memcpy(block.data, m_next->text, size);
  block.key = QMFBlock::kKey;
  block.time = static_cast<std::int64_t>(m_next->start);
  block.endTime = static_cast<std::int64_t>(m_next->end);
  m_next.reset();
  return QMF_OK;
}

// Files need not be in order; the first cue that comes too late ends the search, so that no earlier one is
// missed.
QMFResult SrtReader::Seek(std::int64_t& time) {
  const auto wanted = static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0));
  CSRTReader reader = Start();
  SrtCue cue;
  std::uint64_t offset = reader.Position();
  std::optional<std::uint64_t> landed;
  bool late = false;
  for (std::uint64_t at = offset; !late && reader.ReadCue(cue); at = reader.Position()) {
    late = cue.start > wanted;
    if (late && landed) break;
    offset = at;
    landed = cue.start;
  }
  m_next.reset();
  m_reader->SetPosition(offset);
  if (!landed) return QMF_ERR_END_OF_STREAM;
  time = static_cast<std::int64_t>(*landed);
  return QMF_OK;
}

std::uint64_t SrtReader::FindDuration() {
  if (!m_duration) {
    CSRTReader reader = Start();
    m_duration = 0;
    SrtCue cue;
    while (reader.Position() < kMaxScanned && StreamLength::MayGoOn(File()) && reader.ReadCue(cue)) {
      m_duration = cue.end;
    }
  }
  return *m_duration;
}

QMFResult SrtReader::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  if (const auto answered = AnswerCounts(qid, data)) return *answered;
  switch (qid) {
    case QMF_QID_SUB_STREAM_FORMAT: {
      if (index != 0) return QMF_ERR_INVALID_STREAM;
      QMFSubtitleFormat format{};
      format.kind = kSubtitleKind;
      format.handler = format.compression = MakeFourCC("SRT ");
      return AnswerRecord(data, format);
    }
    case QMF_QID_TITLE_DURATION:
      return AnswerNumber(data, qid, FindDuration());
    case QMF_QID_GET_SRT_OUTPUT_TEXT:
      return AnswerNumber(data, qid, 1);
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

QMFResult SrtReader::SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t) {
  if (qid != QMF_QID_SET_SRT_OUTPUT_TEXT) return QMF_ERR_UNSUPPORTED_QID;
  return static_cast<std::uint8_t>(data.value) != 0 ? QMF_OK : QMF_ERR_OUTSIDE_RANGE;
}

namespace {

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 0, 1}, u".srt", u"SRT read module."};
constexpr QMFModuleEntryPoints kEntryPoints = ModuleAdapter<SrtReader>::EntryPoints([] { return &kHeader; });

}  // namespace

constexpr QMFModuleDescriptor kSrtModule = {kModuleSrt, &kHeader, &kEntryPoints};

}  // namespace qmf
