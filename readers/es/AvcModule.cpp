#include "readers/es/AvcModule.h"

#include <algorithm>

#include "framework/MediaTime.h"
#include "framework/ModuleAdapter.h"
#include "framework/PathSplitter.h"
#include "framework/QueryAnswer.h"
#include "readers/es/StreamLength.h"
#include "streamlib/H264HdrPictParSet.h"
#include "streamlib/H264NalUnit.h"

namespace qmf {
namespace {

constexpr std::int32_t kSureScore = 100;
// Parameter sets this far into the file are not looked for: opening stays cheap.
constexpr std::uint64_t kMaxSearch = 8U << 20;
constexpr std::uint32_t kMaxUnitsSearched = 20'000;
// Units of files that are walked whole to tell their length, and how far a unit may reach out of a place that
// stands for others.
constexpr std::uint32_t kMaxUnitsWalked = 80'000;
constexpr std::uint64_t kMaxReach = 2U << 20;

// Runs `accept(front)` over the units from `unit` on until it is true.
template <class Accept>
bool FindUnit(AnnexBUnits& units, AnnexBUnits::Unit& unit, Accept&& accept) {
  while (units.Find(unit.header, unit)) {
    if (accept(units.Front(unit))) return true;
  }
  return false;
}

template <class Set>
bool Parse(Set& set, std::span<const std::uint8_t> unit) {
  return set.Parse(unit.data(), static_cast<std::int32_t>(unit.size()));
}

}  // namespace

QMFResult AvcReader::Probe(std::int32_t& score, const char16_t* path, QMFAllocator*) {
  const std::u16string_view extension = PathExtension(path);
  score = extension == u".264" || extension == u".h264" ? kSureScore : 0;
  return QMF_OK;
}

QMFResult AvcReader::Open(const char16_t* path) {
  QMF_RETURN_IF_NONZERO(OpenFile(path));
  AnnexBUnits units(File(), kMaxSearch, kMaxUnitsSearched);
  AnnexBUnits::Unit unit;
  QMF_RETURN_IF_NONZERO(FindSequence(units, unit));
  QMF_RETURN_IF_NONZERO(FindPicture(units, unit));
  Rewind();
  return QMF_OK;
}

QMFResult AvcReader::FindSequence(AnnexBUnits& units, AnnexBUnits::Unit& unit) {
  SPL_H264::H264HdrSeqParSet sps;
  QMFResult missing = QMF_ERR_INVALID_FILE;
  const bool found = FindUnit(units, unit, [&](auto front) {
    const bool parsed = Parse(sps, front);
    if (sps.nal_unit_type == SPL_H264::kNalSps) missing = QMF_FAILURE;
    return parsed;
  });
  if (!found) return missing;
  if (sps.seq_scaling_matrix_present_flag != 0) return QMF_ERR_UNSUPPORTED_SPS_DATA;
  m_sequence = {unit.header, units.SizeOf(unit)};
  m_sequenceId = sps.seq_parameter_set_id;
  m_picture = DeriveAvcPicture(sps);
  return m_picture.rate == 0 || m_picture.scale == 0 ? QMF_FAILURE : QMF_OK;
}

// Several slice groups come with slices in any order, in which pictures cannot be told apart by their slices.
QMFResult AvcReader::FindPicture(AnnexBUnits& units, AnnexBUnits::Unit unit) {
  SPL_H264::H264HdrPictParSet pps;
  const bool found = FindUnit(
      units, unit, [&](auto front) { return Parse(pps, front) && pps.seq_parameter_set_id == m_sequenceId; });
  if (!found || pps.num_slice_groups_minus1 > 0) return QMF_ERR_AVC_STREAM_NOT_SUPPORTED;
  m_pictureSet = {unit.header, units.SizeOf(unit)};
  return QMF_OK;
}

void AvcReader::Rewind() {
  m_walk.emplace(AnnexBUnits(File()));
  m_knowsSets = false;
  m_next.reset();
}

std::int64_t AvcReader::TimeOf(std::uint64_t fields) const {
  return UnitsToTime(fields, m_picture.scale, m_picture.fieldRate);
}

void AvcReader::Learn(const AvcAccessUnits::AccessUnit& unit) {
  if (unit.isRecovery) m_index.Learn({unit.offset, unit.ticks});
}

// Every walk teaches the index.
bool AvcReader::NextAccessUnit(AvcAccessUnits& walk, AvcAccessUnits::AccessUnit& unit) {
  if (!walk.Next(unit)) return false;
  Learn(unit);
  return true;
}

QMFResult AvcReader::ReadBlock(QMFBlock& block) {
  if (!m_next) {
    AvcAccessUnits::AccessUnit unit;
    if (!NextAccessUnit(*m_walk, unit)) return QMF_ERR_END_OF_STREAM;
    m_next = unit;
  }
  const QMFResult result = DeliverFromFile(m_next->offset, m_next->size, block);
  if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL) return result;
  block.key = m_next->isRecovery ? QMFBlock::kKey : QMFBlock::kNotKey;
  block.time = TimeOf(m_next->ticks);
  block.endTime = TimeOf(m_walk->Ticks());
  m_next.reset();
  return result;
}

// Wherever reading goes on, it needs the parameter sets that the stream begins with: they may come only once.
void AvcReader::WalkPastSets(AvcAccessUnits& walk) const {
  walk.Restart(0, 0);
  AvcAccessUnits::AccessUnit unit;
  while (walk.Next(unit) && unit.offset <= m_pictureSet.offset) {
  }
}

QMFResult AvcReader::Seek(std::int64_t& time) {
  const std::int64_t wanted = std::max<std::int64_t>(time, 0);
  const std::uint64_t fields = TimeToUnits(wanted, m_picture.scale, m_picture.fieldRate);
  SeekIndex::Point best = m_index.Before(fields, {0, 0});
  if (!m_knowsSets) WalkPastSets(*m_walk);
  m_knowsSets = true;
  AvcAccessUnits walk = *m_walk;
  walk.Restart(best.offset, best.ticks);
  AvcAccessUnits::AccessUnit unit;
  while (NextAccessUnit(walk, unit) && TimeOf(unit.ticks) <= wanted) {
    if (unit.isRecovery) best = {unit.offset, unit.ticks};
  }
  m_next.reset();
  *m_walk = walk;
  m_walk->Restart(best.offset, best.ticks);
  time = TimeOf(best.ticks);
  return QMF_OK;
}

// Nothing in the stream tells its length: the first question for it walks to the end where that is near.
std::uint64_t AvcReader::CountFields() {
  if (m_fieldCount) return *m_fieldCount;
  std::optional<AvcAccessUnits> front;
  const auto walkFrom = [&](std::uint64_t offset, std::uint64_t end) {
    const std::uint64_t left = StreamLength::BytesLeft(File());
    const bool isWhole = end == UINT64_MAX;
    if (!front) {
      front.emplace(AnnexBUnits(File(), left, kMaxUnitsSearched));
      if (!isWhole) WalkPastSets(*front);
    }
    const AnnexBUnits units(File(), isWhole ? offset + left : end + kMaxReach,
                            isWhole ? kMaxUnitsWalked : kMaxUnitsSearched);
    AvcAccessUnits walk(units, *front);
    walk.Restart(offset, 0);
    return walk;
  };
  const auto learn = [this](const AvcAccessUnits::AccessUnit& unit) { Learn(unit); };
  m_fieldCount = StreamLength::Count<AvcAccessUnits::AccessUnit>(File(), 0, walkFrom, learn);
  return *m_fieldCount;
}

QMFResult AvcReader::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  if (index != 0) return QMF_ERR_INVALID_STREAM;
  if (const auto answered = AnswerCounts(qid, data)) return *answered;
  switch (qid) {
    case QMF_QID_VID_STREAM_FORMAT:
      return AnswerFormat(data);
    case QMF_QID_TITLE_DURATION:
      return AnswerNumber(data, qid, static_cast<std::uint64_t>(TimeOf(CountFields())));
    case QMF_QID_SPS_SIZE:
      return AnswerNumber(data, qid, m_sequence.size);
    case QMF_QID_PPS_SIZE:
      return AnswerNumber(data, qid, m_pictureSet.size);
    case QMF_QID_SPS_DATA:
      return AnswerParameterSet(m_sequence, qid, data);
    case QMF_QID_PPS_DATA:
      return AnswerParameterSet(m_pictureSet, qid, data);
    default:
      return QMF_ERR_INVALID_QUERY_ID;
  }
}

QMFResult AvcReader::AnswerFormat(QMFQueryData& data) const {
  if (!HasRoomFor(data, sizeof(QMFVideoFormat))) return QMF_ERR_BUFFER_TOO_SMALL;
  QMFVideoFormat format;
  std::memcpy(&format, data.pointer, sizeof(format));
  QMF_RETURN_IF_NONZERO(FillAvcFormat(m_picture, format));
  return AnswerRecord(data, format);
}

QMFResult AvcReader::AnswerParameterSet(const ParameterSet& set, std::uint32_t qid, QMFQueryData& data) {
  const auto bytes = File().View(set.offset, static_cast<std::size_t>(set.size));
  return bytes.size() == set.size ? AnswerBytes(data, qid, bytes) : QMF_ERR_INVALID_FILE;
}

namespace {

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 0, 1}, u".h264, .264", u"AVC read module."};
constexpr QMFModuleEntryPoints kEntryPoints = ModuleAdapter<AvcReader>::EntryPoints([] { return &kHeader; });

}  // namespace

constexpr QMFModuleDescriptor kAvcModule = {kModuleAvc, &kHeader, &kEntryPoints};

}  // namespace qmf
