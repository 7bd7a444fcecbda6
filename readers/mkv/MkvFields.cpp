#include "readers/mkv/MkvFields.h"

#include <algorithm>
#include <cstring>

#include "framework/ByteOrder.h"
#include "streamlib/AvcConfiguration.h"
#include "streamlib/H264NalUnit.h"

namespace qmf {
namespace {

using Bytes = std::span<const std::uint8_t>;

// The second field stands behind the first, with blocks of other tracks between them at most.
constexpr int kMostBlocksBetween = 1024;
constexpr std::uint32_t kFirstBuffer = 65536;

bool AreOneFrame(const SPL_H264::H264HdrSlice& first, const SPL_H264::H264HdrSlice& second) {
  return first.IsValid() && second.IsValid() && first.field_pic_flag != 0 && second.field_pic_flag != 0 &&
         first.bottom_field_flag != second.bottom_field_flag && first.frame_num == second.frame_num;
}

}  // namespace

MkvSliceParser::MkvSliceParser(const MkvTrack& track) : m_lengthSize(SPL::NalLengthSize(track.codecPrivate)) {
  SPL::VisitParameterSets(track.codecPrivate, [&](Bytes unit) {
    const auto size = static_cast<std::int32_t>(unit.size());
    SPL_H264::H264HdrSeqParSet sps;
    SPL_H264::H264HdrPictParSet pps;
    const std::uint8_t type = SPL_H264::NalHeader(unit[0]).type;
    if (type == SPL_H264::kNalSps && sps.Parse(unit.data(), size)) m_stream.Keep(sps);
    if (type == SPL_H264::kNalPps && pps.Parse(unit.data(), size)) m_stream.Keep(pps);
  });
}

SPL_H264::H264HdrSlice MkvSliceParser::FirstSlice(Bytes block) const {
  SPL_H264::H264HdrSlice slice;
  while (block.size() > m_lengthSize) {
    const std::uint64_t length = LoadBE(block.data(), m_lengthSize);
    block = block.subspan(m_lengthSize);
    if (length == 0 || length > block.size()) break;
    if (SPL_H264::IsSlice(SPL_H264::NalHeader(block[0]).type)) {
      (void)slice.Parse(block.data(), static_cast<std::int32_t>(length), m_stream);
      break;
    }
    block = block.subspan(static_cast<std::size_t>(length));
  }
  return slice;
}

// The frame that `ahead` has loaded, into a buffer that grows as it needs.
QMFResult MkvFieldJoiner::TakeSecond(MkvFrameReader& ahead, const MkvTrack& track, QMFBlock& second) {
  QMFResult result = QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  for (second.required = kFirstBuffer; result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL;) {
    m_second.resize(std::max<std::size_t>(m_second.size(), second.required));
    second.data = m_second.data();
    second.capacity = static_cast<std::uint32_t>(m_second.size());
    result = ahead.Take(track, false, second);
  }
  return result;
}

// Reads the track's next block and tells whether it completes the frame.
bool MkvFieldJoiner::FindSecond(const MkvSegment& segment, MkvPlayhead& head, const QMFBlock& first,
                                QMFBlock& second) {
  const MkvSliceParser& parser = m_parsers.try_emplace(&head.Track(), head.Track()).first->second;
  const SPL_H264::H264HdrSlice slice = parser.FirstSlice({first.data, first.size});
  if (!slice.IsValid() || slice.field_pic_flag == 0) return false;
  MkvFrameReader ahead(segment, head.Part());
  ahead.MoveTo(head.Reader().Cursor().Place());
  int left = kMostBlocksBetween;
  const QMFResult loaded = ahead.Load([&](const MkvFoundBlock& block) {
    if (block.header.track == head.Track().number) return MkvCursor::kTake;
    return --left > 0 ? MkvCursor::kPass : MkvCursor::kEnd;
  });
  if (loaded != QMF_OK || ahead.FrameSizes().size() != 1) return false;
  m_secondOffset = ahead.Block().element.start;
  return TakeSecond(ahead, head.Track(), second) == QMF_OK &&
         AreOneFrame(slice, parser.FirstSlice({second.data, second.size}));
}

QMFResult MkvFieldJoiner::AddSecondField(const MkvSegment& segment, MkvPlayhead& head, QMFBlock& block) {
  QMFBlock second;
  if (!FindSecond(segment, head, block, second)) return QMF_OK;
  if (second.size > block.capacity - block.size) {
    block.required = block.size + second.size;
    head.Reader().PutBack();
    return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  }
  std::memcpy(block.data + block.size, second.data, second.size);
  block.size += second.size;
  block.required = block.size;
  block.endTime = second.endTime;
  head.PassBlockAt(m_secondOffset);
  return QMF_OK;
}

}  // namespace qmf
