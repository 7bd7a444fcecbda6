#include "readers/mkv/MkvTracks.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "framework/InfoRecords.h"
#include "readers/mkv/CodecTable.h"
#include "readers/mkv/EbmlRules.h"
#include "readers/mkv/MkvEncodings.h"

namespace qmf {
namespace {

// Codec private data that were compressed are restored up to this size.
constexpr std::size_t kMostCodecPrivate = 1U << 20;

// 0 for numbers that are no block type.
std::uint32_t TypeOfBlocks(std::uint32_t blockType) {
  switch (blockType) {
    case kBlockAudio:
      return kTrackAudio;
    case kBlockVideo:
    case kBlockVideoAlternate:
      return kTrackVideo;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return kTrackSubtitle;
    default:
      return 0;
  }
}

// Matroska's TrackType to ours; 0 for types that are not kept.
std::uint32_t TypeOf(std::uint64_t trackType) {
  switch (trackType) {
    case 0x01:
      return kTrackVideo;
    case 0x02:
      return kTrackAudio;
    case 0x03:
      return kTrackComplex;
    case 0x10:
      return kTrackLogo;
    case 0x11:
      return kTrackSubtitle;
    case 0x12:
      return kTrackButtons;
    default:
      return 0;
  }
}

QMFResult ReadTimecodeScale(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  double scale = 0;
  QMF_RETURN_IF_NONZERO(reader.Read(element, scale));
  track.timecodeScale = static_cast<float>(scale);
  return QMF_OK;
}

QMFResult ReadCodecId(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  std::pmr::u16string codecId(reader.Memory());
  QMF_RETURN_IF_NONZERO(reader.Read(element, codecId));
  track.codecIndex = FindCodecIndex(codecId);
  return QMF_OK;
}

// Frequencies pass through single precision, so 44099.9999 is 44100.
template <std::optional<std::uint32_t> MkvTrack::*member>
QMFResult ReadFrequency(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  double frequency = 0;
  QMF_RETURN_IF_NONZERO(reader.Read(element, frequency));
  track.*member = WrapToUnsigned32(static_cast<double>(static_cast<float>(frequency)));
  return QMF_OK;
}

// Writers use 2 for progressive.
QMFResult ReadInterlaced(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  std::uint64_t flag = 0;
  QMF_RETURN_IF_NONZERO(reader.Read(element, flag));
  track.interlaced = flag == 1;
  return QMF_OK;
}

constexpr EbmlRule<MkvContentEncoding> kCompressionRules[] = {
    {Element::ContentCompAlgo, ReadInto<&MkvContentEncoding::algorithm>},
    {Element::ContentCompSettings, ReadInto<&MkvContentEncoding::settings>},
};

constexpr EbmlRule<MkvContentEncoding> kEncodingRules[] = {
    {Element::ContentEncodingOrder, ReadInto<&MkvContentEncoding::order>},
    {Element::ContentEncodingScope, ReadInto<&MkvContentEncoding::scope>},
    {Element::ContentEncodingType, ReadInto<&MkvContentEncoding::type>},
    {Element::ContentCompression, WalkInto<kCompressionRules>},
};

QMFResult ReadEncoding(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  // Their list has no other bound, and grows by doubling.
  QMF_RETURN_IF_NONZERO(reader.Keep(2 * sizeof(MkvContentEncoding)));
  MkvContentEncoding encoding(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kEncodingRules>(encoding, reader, element));
  track.encodings.push_back(std::move(encoding));
  return QMF_OK;
}

constexpr EbmlRule<MkvTrack> kEncodingsRules[] = {
    {Element::ContentEncoding, ReadEncoding},
};

constexpr EbmlRule<MkvTrack> kVideoRules[] = {
    {Element::PixelWidth, ReadInto<&MkvTrack::pixelWidth>},
    {Element::PixelHeight, ReadInto<&MkvTrack::pixelHeight>},
    {Element::DisplayWidth, ReadInto<&MkvTrack::displayWidth>},
    {Element::DisplayHeight, ReadInto<&MkvTrack::displayHeight>},
    {Element::FlagInterlaced, ReadInterlaced},
};

constexpr EbmlRule<MkvTrack> kAudioRules[] = {
    {Element::SamplingFrequency, ReadFrequency<&MkvTrack::samplingFrequency>},
    {Element::OutputSamplingFreqency, ReadFrequency<&MkvTrack::outputSamplingFrequency>},
    {Element::Channels, ReadInto<&MkvTrack::channels>},
    {Element::BitDepth, ReadInto<&MkvTrack::bitDepth>},
};

constexpr EbmlRule<MkvTrack> kProtectionRules[] = {
    {Element::TracksDataDrmOld, ReadInto<&MkvTrack::drmOld>},
    {Element::TracksDataDrmIcp, ReadInto<&MkvTrack::drmIcp>},
};

template <auto link, auto member>
QMFResult ReadLink(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  return reader.Read(element, (track.*link).*member);
}

template <auto link>
QMFResult ReadLinkedSegment(MkvTrack& track, EbmlReader& reader, const EbmlElement& element) {
  return ReadMkvUid(reader, element, (track.*link).segmentUid);
}

constexpr EbmlRule<MkvTrack> kTrackRules[] = {
    {Element::TrackNumber, ReadInto<&MkvTrack::number>},
    {Element::TrackType, ReadInto<&MkvTrack::type>},
    {Element::TrackUid, ReadInto<&MkvTrack::uid>},
    {Element::TrackTimecodeScale, ReadTimecodeScale},
    {Element::DefaultDuration, ReadInto<&MkvTrack::defaultDuration>},
    {Element::AttachmentLink, ReadInto<&MkvTrack::attachmentLinks>},
    {Element::Name, ReadInto<&MkvTrack::name>},
    {Element::Language, ReadInto<&MkvTrack::language>},
    {Element::FileLacing, ReadInto<&MkvTrack::lacing>},
    {Element::CodecId, ReadCodecId},
    {Element::CodecName, ReadInto<&MkvTrack::codecName>},
    {Element::CodecPrivate, ReadInto<&MkvTrack::codecPrivate>},
    {Element::ContentEncodings, WalkInto<kEncodingsRules>},
    {Element::Video, WalkInto<kVideoRules>},
    {Element::Audio, WalkInto<kAudioRules>},
    {Element::TracksData, WalkInto<kProtectionRules>},
    {Element::EnhancedTrackUid, ReadLink<&MkvTrack::enhanced, &MkvTrackLink::trackUid>},
    {Element::EnhancedTrackSegUid, ReadLinkedSegment<&MkvTrack::enhanced>},
    {Element::EnhancedTrackFileName, ReadLink<&MkvTrack::enhanced, &MkvTrackLink::fileName>},
    {Element::MasterTrackUid, ReadLink<&MkvTrack::master, &MkvTrackLink::trackUid>},
    {Element::MasterTrackSegUid, ReadLinkedSegment<&MkvTrack::master>},
    {Element::MasterTrackFileName, ReadLink<&MkvTrack::master, &MkvTrackLink::fileName>},
};

// What cannot be restored is as if it were not there: nobody could read it. What was tried counts, or a file
// of little could make much work.
QMFResult RestoreCodecPrivate(MkvTrack& track, EbmlReader& reader) {
  std::ranges::stable_sort(track.encodings, std::greater(), &MkvContentEncoding::order);
  if (track.codecPrivate.empty() || !IsEncoded(track, kScopeCodecPrivate)) return QMF_OK;
  std::size_t left = kMostCodecPrivate;
  if (UndoEncodings(track, kScopeCodecPrivate, left, track.codecPrivate) != QMF_OK) {
    track.codecPrivate.clear();
  }
  return reader.Keep(kMostCodecPrivate - left);
}

// The entry's type may come last, so the record is filled on its own and moved to its list at the end.
QMFResult ReadTrackEntry(MkvTracks& tracks, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvTrack)));
  MkvTrack track(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kTrackRules>(track, reader, element));
  if (element.end > reader.FileSize()) return QMF_ERR_END_OF_STREAM;
  QMF_RETURN_IF_NONZERO(RestoreCodecPrivate(track, reader));
  tracks.Add(std::move(track));
  return QMF_OK;
}

constexpr EbmlRule<MkvTracks> kTracksRules[] = {
    {Element::TrackEntry, ReadTrackEntry},
};

}  // namespace

MkvTrack::MkvTrack(QMFAllocator* memory)
    : attachmentLinks(memory),
      name(memory),
      language(u"eng", memory),
      codecName(memory),
      codecPrivate(memory),
      encodings(memory),
      enhanced(memory),
      master(memory),
      drmOld(memory),
      drmIcp(memory) {}

MkvTracks::MkvTracks(QMFAllocator* memory)
    : m_lists{List(memory), List(memory), List(memory), List(memory), List(memory), List(memory)},
      m_byNumber(memory) {}

void MkvTracks::Add(MkvTrack&& track) {
  const std::uint32_t type = TypeOf(track.type);
  if (type == 0 || Of(type).size() >= kMaxTracks) return;
  Of(type).push_back(std::move(track));
  m_byNumber.clear();
}

MkvTrack* MkvTracks::FindStream(std::uint32_t blockType, std::uint32_t stream) {
  const std::uint32_t type = TypeOfBlocks(blockType);
  return type != 0 && stream < Of(type).size() ? &Of(type)[stream] : nullptr;
}

bool MkvTracks::AnyActive() const {
  return std::ranges::any_of(m_lists,
                             [](const List& list) { return std::ranges::any_of(list, &MkvTrack::active); });
}

// All or none: a list that memory cut short would hide tracks.
void MkvTracks::SortByNumber() {
  m_byNumber.reserve(Of(kTrackAudio).size() + Of(kTrackVideo).size() + Of(kTrackSubtitle).size());
  for (std::uint32_t type = kTrackAudio; type <= kTrackSubtitle; ++type) {
    const List& list = Of(type);
    for (std::uint32_t i = 0; i < list.size(); ++i) m_byNumber.push_back({list[i].number, type, i});
  }
  std::ranges::sort(m_byNumber);
}

MkvTrack* MkvTracks::FindNumber(std::uint64_t number, std::uint32_t& type, std::uint32_t& stream) {
  if (m_byNumber.empty()) SortByNumber();
  const auto place = std::ranges::lower_bound(m_byNumber, number, {}, &Place::number);
  if (place == m_byNumber.end() || place->number != number) return nullptr;
  type = place->type;
  stream = place->stream;
  return &Of(type)[stream];
}

QMFResult ReadMkvTracks(EbmlReader& reader, const EbmlElement& element, MkvTracks& tracks) {
  const QMFResult result = WalkInto<kTracksRules>(tracks, reader, element);
  return result == QMF_OK || result == QMF_ERR_END_OF_STREAM ? QMF_OK : QMF_ERR_QF3_PARSE_TRACKS;
}

QMFResult MkvTrackCodecId(const MkvTracks& tracks, std::uint32_t type, std::uint32_t index,
                          const char16_t*& codecId) {
  if (type < kFirstTrackType || type > kLastTrackType || index >= tracks.Of(type).size()) return QMF_FAILURE;
  codecId = CodecIdOf(tracks.Of(type)[index].codecIndex);
  return QMF_OK;
}

std::uint32_t WrapToUnsigned32(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(std::abs(value) < kLimit)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

}  // namespace qmf
