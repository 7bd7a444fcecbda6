#include "readers/es/AacModule.h"

#include <algorithm>
#include <cstring>

#include "framework/MediaTime.h"
#include "framework/ModuleAdapter.h"
#include "framework/PathSplitter.h"
#include "framework/QueryAnswer.h"
#include "readers/es/StreamLength.h"
#include "streamlib/AACHdrAudioSpecificConfig.h"

namespace qmf {
namespace {

constexpr std::int32_t kSureScore = 100;
constexpr std::int32_t kLikelyScore = 50;
constexpr std::int32_t kPossibleScore = 25;
constexpr std::uint32_t kSureChain = 3;
constexpr std::uint32_t kPossibleChain = 4;
// What the first reading of a file brings: a search ends with it, so that files of other kinds are not read
// for longer than their own readers do.
constexpr std::size_t kSearched = 4096;
// Of the byte behind 0xFF, the rest of the sync word and the layer, which tell most bytes of other files.
constexpr std::uint8_t kSecondMask = 0xF6;
constexpr std::uint8_t kSecondOfSync = 0xF0;

constexpr std::uint8_t kAudioKind = 0x11;
constexpr std::uint16_t kFormatTagAac = 0x00FF;
// Places, evenly over the file, at which frames are looked at before all are taken to be of one size, and
// bytes looked at in each. Files of less than twice of all that are walked.
constexpr std::uint64_t kConstancyPlaces = 64;
constexpr std::uint64_t kConstancyBytes = FileReader::kWindowSize;

// For names that cannot be opened. A transport or program stream that can be is no ADTS stream, and says so.
bool HasKnownExtension(const char16_t* path) {
  static constexpr std::u16string_view kExtensions[] = {u".mpg", u".mp2", u".m2t", u".m2ts", u".mpv",
                                                        u".mpa", u".m2v", u".m1v", u".m4v",  u".aac"};
  return std::ranges::find(kExtensions, PathExtension(path)) != std::end(kExtensions);
}

// Whether frames follow each other somewhere at the front of the file.
bool HasFramesBehindGarbage(FileReader& file, std::uint64_t start) {
  AdtsFrames frames(file);
  const auto head = file.View(start, kSearched);
  const std::size_t end = head.size() - std::min<std::size_t>(head.size(), SPL_AAC::AACHdrADTS::kFixedSize);
  for (std::size_t at = 0; at < end; ++at) {
    const auto rest = head.subspan(at);
    const void* const sync = std::memchr(rest.data(), 0xFF, rest.size());
    if (sync == nullptr) return false;
    at += static_cast<std::size_t>(static_cast<const std::uint8_t*>(sync) - rest.data());
    const auto second = head.subspan(at + 1);
    if (!second.empty() && (second[0] & kSecondMask) != kSecondOfSync) continue;
    std::uint64_t behind = 0;
    if (frames.CountChain(start + at, kPossibleChain, behind, start + end) == kPossibleChain) return true;
  }
  return false;
}

std::int32_t ScoreContent(FileReader& file) {
  AdtsFrames frames(file);
  const std::uint64_t start = SkipId3v2(file);
  std::uint64_t end = 0;
  const std::uint32_t chain = frames.CountChain(start, kSureChain, end);
  if (chain == kSureChain || (chain > 0 && end == EndBeforeId3v1(file))) return kSureScore;
  if (chain > 1) return kLikelyScore;
  return HasFramesBehindGarbage(file, start) ? kPossibleScore : 0;
}

}  // namespace

QMFResult AacReader::Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory) {
  std::shared_ptr<FileReader> file;
  if (FileReader::Open(path, memory, file) == QMF_OK) {
    score = ScoreContent(*file);
  } else {
    score = HasKnownExtension(path) ? kSureScore : 0;
  }
  return QMF_OK;
}

QMFResult AacReader::Open(const char16_t* path) {
  QMF_RETURN_IF_NONZERO(OpenFile(path));
  m_walk.emplace(File());
  m_walk->Restart(SkipId3v2(File()), 0);
  if (!m_walk->Next(m_first)) return QMF_ERR_INVALID_FILE;
  const auto bytes = File().View(m_first.offset, m_first.header.frame_length);
  std::uint32_t channels = 0;
  const auto config = SPL_AAC::MakeAudioSpecificConfig(m_first.header, bytes.data(),
                                                       static_cast<std::int32_t>(bytes.size()), channels);
  m_format.kind = kAudioKind;
  m_format.formatTag = kFormatTagAac;
  m_format.channels = static_cast<std::uint16_t>(channels);
  m_format.samplesPerSec = m_first.header.SampleRate();
  m_format.blockAlign = static_cast<std::uint16_t>(m_first.header.SampleCount());
  m_format.extraSize = static_cast<std::uint16_t>(config.size);
  std::copy_n(config.bytes, std::min(config.size, sizeof(m_format.extra)), m_format.extra);
  Rewind();
  return QMF_OK;
}

void AacReader::Rewind() {
  m_walk->Restart(m_first.offset, 0);
  m_next.reset();
}

std::int64_t AacReader::TimeOf(std::uint64_t samples) const {
  return UnitsToTime(samples, 1, m_format.samplesPerSec);
}

// Every walk teaches the index.
bool AacReader::NextFrame(AdtsFrames& walk, AdtsFrames::Frame& frame) {
  if (!walk.Next(frame)) return false;
  m_index.Learn({frame.offset, frame.ticks});
  return true;
}

QMFResult AacReader::ReadBlock(QMFBlock& block) {
  if (!m_next) {
    AdtsFrames::Frame frame;
    if (!NextFrame(*m_walk, frame)) return QMF_ERR_END_OF_STREAM;
    m_next = frame;
  }
  const QMFResult result = DeliverFromFile(m_next->offset, m_next->header.frame_length, block);
  if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL) return result;
  block.key = QMFBlock::kKey;
  block.time = TimeOf(m_next->ticks);
  block.endTime = TimeOf(m_walk->Ticks());
  m_next.reset();
  return result;
}

QMFResult AacReader::Seek(std::int64_t& time) {
  const std::int64_t wanted = std::max<std::int64_t>(time, 0);
  const std::uint64_t samples = TimeToUnits(wanted, 1, m_format.samplesPerSec);
  SeekIndex::Point best = m_index.Before(samples, {m_first.offset, 0});
  AdtsFrames walk = *m_walk;
  walk.Restart(best.offset, best.ticks);
  AdtsFrames::Frame frame;
  while (NextFrame(walk, frame) && TimeOf(frame.ticks) <= wanted) best = {frame.offset, frame.ticks};
  m_next.reset();
  m_walk->Restart(best.offset, best.ticks);
  time = TimeOf(best.ticks);
  return QMF_OK;
}

bool AacReader::IsConstantFrom(std::uint64_t offset, std::uint64_t count) {
  const std::uint64_t length = m_first.header.frame_length;
  AdtsFrames::Frame frame;
  for (; count > 0; --count, offset += length) {
    if (!m_walk->At(offset, frame) || frame.header.frame_length != length ||
        frame.header.SampleCount() != m_first.header.SampleCount()) {
      return false;
    }
  }
  return true;
}

// Frames of one size tell the length by the file's. Whether they are is asked all over the file.
std::optional<std::uint64_t> AacReader::SamplesOfConstantFrames() {
  const std::uint64_t length = m_first.header.frame_length;
  const std::uint64_t bytes = EndBeforeId3v1(File()) - m_first.offset;
  if (bytes % length != 0 || bytes < 2 * kConstancyPlaces * kConstancyBytes) return std::nullopt;
  const std::uint64_t count = bytes / length;
  const std::uint64_t run = kConstancyBytes / length;
  for (std::uint64_t place = 0; place < kConstancyPlaces; ++place) {
    const std::uint64_t number = place * (count - run) / (kConstancyPlaces - 1);
    if (!IsConstantFrom(m_first.offset + number * length, run)) return std::nullopt;
  }
  return count * m_first.header.SampleCount();
}

std::uint64_t AacReader::CountSamples() {
  if (!m_sampleCount) m_sampleCount = SamplesOfConstantFrames();
  if (m_sampleCount) return *m_sampleCount;
  const auto walkFrom = [this](std::uint64_t offset, std::uint64_t) {
    AdtsFrames walk = *m_walk;
    walk.Restart(offset, 0);
    return walk;
  };
  const auto learn = [this](const AdtsFrames::Frame& frame) { m_index.Learn({frame.offset, frame.ticks}); };
  m_sampleCount = StreamLength::Count<AdtsFrames::Frame>(File(), m_first.offset, walkFrom, learn);
  return *m_sampleCount;
}

QMFResult AacReader::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  if (const auto answered = AnswerCounts(qid, data)) return *answered;
  switch (qid) {
    case QMF_QID_AUD_STREAM_FORMAT:
      return index == 0 ? AnswerRecord(data, m_format) : QMF_ERR_INVALID_STREAM;
    case QMF_QID_TITLE_DURATION:
      return AnswerNumber(data, qid, static_cast<std::uint64_t>(TimeOf(CountSamples())));
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

QMFResult AacReader::SetInfo(std::uint32_t, QMFQueryData&, std::uint32_t) {
  return QMF_ERR_UNSUPPORTED_QID;
}

namespace {

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 1, 0}, u".aac", u"AAC in ADTS read module."};
constexpr QMFModuleEntryPoints kEntryPoints = ModuleAdapter<AacReader>::EntryPoints([] { return &kHeader; });

}  // namespace

constexpr QMFModuleDescriptor kAacModule = {kModuleAac, &kHeader, &kEntryPoints};

}  // namespace qmf
