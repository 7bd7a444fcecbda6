#include "tests/readers/mkv/MkvPlayer.h"

namespace qmf::test {

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
  for (const ReadBlock& block : m_file.Rest()) all.emplace_back(block);
  return all;
}

std::string MkvPlayer::AllBytes() {
  std::string text;
  for (const Got& got : All()) text += got.bytes + " ";
  return text;
}

EbmlBuilder::Bytes BlockBytes(std::uint8_t track, std::int16_t ticks, std::uint8_t flags,
                              std::string_view data) {
  return EbmlBuilder()
      .BigEndian(0x80U | track, 1)
      .BigEndian(static_cast<std::uint16_t>(ticks), 2)
      .BigEndian(flags, 1)
      .Raw(data)
      .Done();
}

EbmlBuilder Simple(std::uint8_t track, std::int16_t ticks, std::string_view data, std::uint8_t flags) {
  return EbmlBuilder().Binary(Element::SimpleBlock, BlockBytes(track, ticks, flags, data));
}

EbmlBuilder Group(std::uint8_t track, std::int16_t ticks, std::string_view data, const EbmlBuilder& more) {
  return EbmlBuilder().Master(
      Element::BlockGroup,
      EbmlBuilder().Binary(Element::Block, BlockBytes(track, ticks, 0, data)).Raw(more.Done()));
}

EbmlBuilder ClusterChildren(std::uint64_t time, const std::vector<EbmlBuilder>& blocks) {
  EbmlBuilder children = EbmlBuilder().Unsigned(Element::Timecode, time);
  for (const EbmlBuilder& block : blocks) children.Raw(block.Done());
  return children;
}

EbmlBuilder Cluster(std::uint64_t time, const std::vector<EbmlBuilder>& blocks) {
  return EbmlBuilder().Master(Element::Cluster, ClusterChildren(time, blocks));
}

EbmlBuilder Tracks(const EbmlBuilder& audio, const EbmlBuilder& video) {
  return EbmlBuilder().Master(
      Element::Tracks,
      EbmlBuilder()
          .Raw(Track(1, kMatroskaVideo, "V_MPEG2", EbmlBuilder(Picture(64, 48)).Raw(video.Done())).Done())
          .Raw(Track(2, kMatroskaAudio, "A_AC3", audio).Done()));
}

EbmlBuilder WithClusters(const EbmlBuilder& clusters, const EbmlBuilder& audio) {
  return Header().Master(Element::Segment,
                         EbmlBuilder().Raw(Info().Done()).Raw(Tracks(audio).Done()).Raw(clusters.Done()));
}

}  // namespace qmf::test
