#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "readers/mkv/EbmlReader.h"
#include "readers/mkv/MkvInfo.h"

namespace qmf {

/// Track types; the first three are the framework's block types.
enum MkvTrackType : std::uint32_t {
  kTrackAudio = 1,
  kTrackVideo = 2,
  kTrackSubtitle = 3,
  kTrackComplex = 4,
  kTrackLogo = 5,
  kTrackButtons = 6,
};
inline constexpr std::uint32_t kFirstTrackType = kTrackAudio;
inline constexpr std::uint32_t kLastTrackType = kTrackButtons;

/// How blocks (and perhaps the codec private data) of a track were transformed by the writer.
struct MkvContentEncoding {
  explicit MkvContentEncoding(QMFAllocator* memory) : settings(memory) {}

  std::uint64_t order = 0;      ///< To be undone from the highest to the lowest.
  std::uint64_t scope = 1;      ///< Bit 0 blocks, bit 1 codec private data.
  std::uint64_t type = 0;       ///< 0 compression, 1 encryption.
  std::uint64_t algorithm = 0;  ///< 0 zlib, 1 bzlib, 2 lzo1x, 3 header stripping.
  std::pmr::vector<std::uint8_t> settings;
};

/// What a track names another track by, of the same kind in this file or another one.
struct MkvTrackLink {
  explicit MkvTrackLink(QMFAllocator* memory) : fileName(memory) {}

  std::uint64_t trackUid = 0;  ///< 0 for none.
  MkvSegmentUid segmentUid{};
  std::pmr::u16string fileName;
};

/// One track entry. An optional field is empty when its element is absent.
struct MkvTrack {
  explicit MkvTrack(QMFAllocator* memory);

  std::uint64_t number = 0;
  std::uint64_t type = 0;  ///< Matroska's TrackType.
  std::uint64_t uid = 0;
  std::uint64_t defaultDuration = 0;  ///< Nanoseconds a frame; 0 when unknown.
  std::optional<float> timecodeScale;
  std::pmr::vector<std::uint64_t> attachmentLinks;
  std::pmr::u16string name;
  std::pmr::u16string language;
  std::pmr::u16string codecName;
  std::uint32_t codecIndex = 0;  ///< Row of MkvCodecTable().
  std::pmr::vector<std::uint8_t> codecPrivate;
  std::pmr::vector<MkvContentEncoding> encodings;
  MkvTrackLink enhanced;  ///< The track that shows the same for fast playing.
  MkvTrackLink master;    ///< The track that this one is the enhanced one of.
  bool lacing = true;
  bool active = false;  ///< Whether blocks are delivered.

  // Video
  std::optional<std::uint32_t> pixelWidth;
  std::optional<std::uint32_t> pixelHeight;
  std::optional<std::uint32_t> displayWidth;
  std::optional<std::uint32_t> displayHeight;
  bool interlaced = false;
  bool combineFields = false;     ///< The caller wants the two fields of a frame as one block.
  bool fieldsCombinable = false;  ///< The stream stores each field as a block of its own.

  // Audio
  std::optional<std::uint32_t> samplingFrequency;        ///< Hz.
  std::optional<std::uint32_t> outputSamplingFrequency;  ///< Hz.
  std::optional<std::uint32_t> channels;
  std::optional<std::uint32_t> bitDepth;

  // Opaque protection data.
  std::pmr::vector<std::uint8_t> drmOld;
  std::pmr::vector<std::uint8_t> drmIcp;
};

/// The tracks of a segment, by type, in file order.
class MkvTracks {
 public:
  /// Most tracks of one type; further ones are passed over.
  static constexpr std::size_t kMaxTracks = 1024;

  using List = std::pmr::vector<MkvTrack>;

  explicit MkvTracks(QMFAllocator* memory);

  /// The tracks of `type`, which must be one of MkvTrackType.
  List& Of(std::uint32_t type) { return m_lists[type - kFirstTrackType]; }
  const List& Of(std::uint32_t type) const { return m_lists[type - kFirstTrackType]; }

  /// The track that is stream `stream` of `blockType` (QMFBlockType), or null.
  MkvTrack* FindStream(std::uint32_t blockType, std::uint32_t stream);
  /// The audio, video or subtitle track whose TrackNumber is `number`, or null; `type` and `stream` tell
  /// which it is.
  MkvTrack* FindNumber(std::uint64_t number, std::uint32_t& type, std::uint32_t& stream);

  /// Whether any stream is to be delivered.
  bool AnyActive() const;

  /// Adds a track to the list of its type; one of unknown type is dropped.
  void Add(MkvTrack&& track);

 private:
  struct Place {
    std::uint64_t number;
    std::uint32_t type;
    std::uint32_t stream;
    auto operator<=>(const Place&) const = default;
  };
  void SortByNumber();

  std::array<List, kLastTrackType> m_lists;
  std::pmr::vector<Place> m_byNumber;  ///< Made when first needed: every block asks whose it is.
};

/// Adds the entries of a Tracks element. In a file that ends inside it the complete entries are kept;
/// whatever else is wrong with it is QMF_ERR_QF3_PARSE_TRACKS.
QMFResult ReadMkvTracks(EbmlReader& reader, const EbmlElement& element, MkvTracks& tracks);

/// The codec identifier of a track as the table spells it. A type outside 1 to 6 or an index that no track
/// has gives QMF_FAILURE; a codec index without row gives null and success.
QMFResult MkvTrackCodecId(const MkvTracks& tracks, std::uint32_t type, std::uint32_t index,
                          const char16_t*& codecId);

/// `value` truncated toward zero and wrapped into 32 bits; 0 where it is no number or far out of range.
std::uint32_t WrapToUnsigned32(double value);

}  // namespace qmf
