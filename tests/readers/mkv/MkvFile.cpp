#include "tests/readers/mkv/MkvFile.h"

#include <cstring>

namespace qmf::test {
namespace {

template <class Format>
QMFResult FillFormat(OpenedFile& file, std::uint32_t qid, Format& format, std::uint32_t index) {
  std::memset(&format, 0xEE, sizeof(format));
  return file.Fill(qid, format, index);
}

}  // namespace

Bytes Header(std::string_view docType) {
  return Put(E::Ebml, Unsigned(E::EbmlMaxIdLength, 4) + Unsigned(E::EbmlMaxSizeLength, 8) +
                          Text(E::DocType, docType) + Void(40));
}

Bytes Info() {
  return Put(E::SegmentInfo, Unsigned(E::TimecodeScale, 1'000'000) + Float(E::Duration, 5'400'000.0));
}

Bytes Track(std::uint64_t number, std::uint64_t type, std::string_view codecId, const Bytes& more) {
  return Put(E::TrackEntry, Unsigned(E::TrackNumber, number) + Text(E::CodecId, codecId) + more +
                                Unsigned(E::TrackType, type));
}

Bytes Picture(std::uint64_t width, std::uint64_t height, const Bytes& more) {
  return Put(E::Video, Unsigned(E::PixelWidth, width) + Unsigned(E::PixelHeight, height) + more);
}

Bytes Segment(const Bytes& children) {
  return Header() + Put(E::Segment, children);
}

Bytes Film(const Bytes& trackEntries) {
  return Segment(Info() + Put(E::Tracks, trackEntries));
}

Bytes OneTrack(std::uint64_t type, std::string_view codecId, const Bytes& more) {
  return Film(Track(1, type, codecId, more));
}

Bytes BlockBytes(std::uint8_t track, std::int16_t ticks, std::uint8_t flags, std::string_view data) {
  return BigEndian(0x80U | track, 1) + BigEndian(static_cast<std::uint16_t>(ticks), 2) + BigEndian(flags, 1) +
         Raw(data);
}

Bytes Simple(std::uint8_t track, std::int16_t ticks, std::string_view data, std::uint8_t flags) {
  return Put(E::SimpleBlock, BlockBytes(track, ticks, flags, data));
}

Bytes Group(std::uint8_t track, std::int16_t ticks, std::string_view data, const Bytes& more) {
  return Put(E::BlockGroup, Put(E::Block, BlockBytes(track, ticks, 0, data)) + more);
}

Bytes Cluster(std::uint64_t time, const Bytes& blocks) {
  return Put(E::Cluster, Unsigned(E::Timecode, time) + blocks);
}

Bytes Tracks(const Bytes& audio, const Bytes& video) {
  return Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG2", Picture(64, 48) + video) +
                            Track(2, kMatroskaAudio, "A_AC3", audio));
}

Bytes WithClusters(const Bytes& clusters, const Bytes& audio) {
  return Segment(Info() + Tracks(audio) + clusters);
}

Bytes CuePoint(std::uint64_t time, std::uint64_t cluster) {
  const Bytes positions = Unsigned(E::CueTrack, 1) + Unsigned(E::CueClusterPosition, cluster);
  return Put(E::CuePoint, Unsigned(E::CueTime, time) + Put(E::CueTrackPositions, positions));
}

QMFResult MkvFile::AskInto(std::uint32_t qid, void* pointer, std::uint32_t size, std::uint32_t index) {
  QMFQueryData data;
  data.size = size;
  data.pointer = pointer;
  return Ask(qid, data, index);
}

Bytes MkvFile::Answer(std::uint32_t qid, std::uint32_t index) {
  Bytes buffer(4096);
  QMFQueryData data;
  data.size = static_cast<std::uint32_t>(buffer.size());
  data.pointer = buffer.data();
  if (Ask(qid, data, index) != QMF_OK) return {0xEE};
  buffer.resize(data.size);
  return buffer;
}

QMFResult MkvFile::ResultOf(std::uint32_t qid, std::uint32_t index) {
  std::uint8_t buffer[4096];
  return AskInto(qid, buffer, sizeof(buffer), index);
}

QMFResult MkvFile::Video(QMFVideoFormat& format, std::uint32_t index) {
  return FillFormat(*this, QMF_QID_VID_STREAM_FORMAT, format, index);
}

QMFResult MkvFile::Audio(QMFAudioFormat& format, std::uint32_t index) {
  return FillFormat(*this, QMF_QID_AUD_STREAM_FORMAT, format, index);
}

Got::Got(const ReadBlock& block)
    : type(block.blockType),
      stream(block.stream),
      time(block.time),
      endTime(block.endTime),
      key(block.key == QMFBlock::kKey),
      bytes(block.bytes.begin(), block.bytes.end()),
      result(block.result) {}

std::vector<Got> MkvPlayer::All() {
  std::vector<Got> all;
  for (const ReadBlock& block : Rest()) all.emplace_back(block);
  return all;
}

std::string MkvPlayer::AllBytes() {
  std::string text;
  for (const Got& got : All()) text += got.bytes + " ";
  return text;
}

}  // namespace qmf::test
