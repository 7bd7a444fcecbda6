#include "readers/avi/AviStreamList.h"

#include <utility>

namespace qmf {
namespace {

constexpr std::uint32_t kMaxNameSize = 256U << 10;
constexpr std::uint32_t kProtectionSize = 2232;

class StreamList {
 public:
  StreamList(AviContainer& container, AviStreamCounts& counts)
      : m_file(*container.file),
        m_title(container.title),
        m_counts(counts),
        m_ordinal(counts.lists++),
        m_name(container.memory),
        m_protection(container.memory) {}

  QMFResult Read(AviChunkReader& chunks, const AviChunk& list, std::uint64_t end);

 private:
  using Row = AviChunkRow<StreamList>;

  QMFResult OnHeader(const AviChunk& chunk);
  QMFResult OnFormat(const AviChunk& chunk);
  QMFResult OnData(const AviChunk& chunk);
  QMFResult OnName(const AviChunk& chunk);
  QMFResult OnIndex(const AviChunk& chunk);

  // A record that begins with the chunk header.
  template <class Record>
  QMFResult ReadWholeChunk(const AviChunk& chunk, Record& record) {
    return ReadAviRecord(m_file, chunk.offset, std::uint64_t{AviChunk::kHeaderSize} + chunk.size, record);
  }
  QMFResult ReadVideoFormat(const AviChunk& chunk);
  QMFResult ReadAudioFormat(const AviChunk& chunk);
  void TakeSlot(std::span<AviStream> slots, std::uint16_t& used);
  void AdmitVideo();
  void Complete();

  static const Row kRows[];

  FileReader& m_file;
  AviTitle& m_title;
  AviStreamCounts& m_counts;
  const std::uint16_t m_ordinal;
  bool m_headerSeen = false;
  bool m_formatSeen = false;
  bool m_ignored = false;
  QMFStreamKind m_kind = kStreamNone;
  AviStreamHeader m_header;
  AviStream* m_stream = nullptr;  ///< Null while no slot is taken.
  std::optional<AviIndexHeader> m_index;
  std::pmr::vector<std::uint8_t> m_name;
  std::pmr::vector<std::uint8_t> m_protection;
};

const StreamList::Row StreamList::kRows[] = {
    {kFccStrh, 0, &StreamList::OnHeader}, {kFccStrf, 0, &StreamList::OnFormat},
    {kFccStrd, 0, &StreamList::OnData},   {kFccStrn, 0, &StreamList::OnName},
    {kFccIndx, 0, &StreamList::OnIndex},
};

QMFResult StreamList::Read(AviChunkReader& chunks, const AviChunk& list, std::uint64_t end) {
  QMF_RETURN_IF_NONZERO(
      chunks.Walk(list.Children(), end, std::span<const Row>(kRows), *this, QMF_ERR_FILE_CORRUPT));
  if (!m_headerSeen) return QMF_ERR_STRH_NOT_FOUND;
  if (!m_formatSeen) return QMF_AVI_NO_STRF;
  if (m_stream != nullptr) Complete();
  return QMF_OK;
}

// Streams of types other than video and audio are no stream headers at all, so that their format is what
// fails the title: files with such streams are refused on purpose.
QMFResult StreamList::OnHeader(const AviChunk& chunk) {
  if (m_headerSeen) return QMF_ERR_DUPLICATE_STRH_FOUND;
  QMF_RETURN_IF_NONZERO(ReadWholeChunk(chunk, m_header.bytes));
  if (m_header.Type() == kFccVids) {
    m_headerSeen = true;
    m_kind = kStreamVideo;  // Or subtitles: the format decides.
  } else if (m_header.Type() == kFccAuds) {
    m_headerSeen = true;
    ++m_title.met[kStreamAudio];
    m_kind = kStreamAudio;
    TakeSlot(m_title.Audio(), m_counts.audio);
  }
  return QMF_OK;
}

// A stream beyond the limit has no slot and no kind.
void StreamList::TakeSlot(std::span<AviStream> slots, std::uint16_t& used) {
  if (used >= slots.size()) {
    m_kind = kStreamNone;
    m_ignored = true;
    return;
  }
  m_stream = &slots[used++];
  m_stream->kind = m_kind;
  m_stream->ordinal = m_ordinal;
  m_stream->header = m_header;
}

QMFResult StreamList::OnFormat(const AviChunk& chunk) {
  if (!m_headerSeen) return QMF_ERR_STRH_NOT_FOUND;
  if (m_formatSeen) return QMF_ERR_DUPLICATE_STRF_FOUND;
  m_formatSeen = true;
  if (m_kind == kStreamVideo) return ReadVideoFormat(chunk);
  return m_ignored ? QMF_OK : ReadAudioFormat(chunk);
}

QMFResult StreamList::ReadVideoFormat(const AviChunk& chunk) {
  AviVideoFormat format;
  QMF_RETURN_IF_NONZERO(ReadAviRecord(m_file, chunk.Payload(), chunk.size, format.bytes));
  if (format.Compression() == kFccQXSB || format.Compression() == kFccQXSA) {
    m_kind = kStreamSubtitle;
    ++m_title.met[kStreamSubtitle];
    TakeSlot(m_title.Subtitles(), m_counts.subtitles);
  } else {
    ++m_title.met[kStreamVideo];
    AdmitVideo();
  }
  if (m_stream != nullptr) m_stream->video = format;
  return QMF_OK;
}

void StreamList::AdmitVideo() {
  std::uint16_t used = m_title.hasVideo ? 1 : 0;
  TakeSlot(std::span(&m_title.Video(), kMaxAviVideoStreams), used);
  m_title.hasVideo = true;
}

QMFResult StreamList::ReadAudioFormat(const AviChunk& chunk) {
  std::array<std::uint8_t, AviAudioFormat::kExtraOffset> basic{};
  const std::uint32_t known =
      chunk.size > AviAudioFormat::kBasicSize ? AviAudioFormat::kExtraOffset : AviAudioFormat::kBasicSize;
  QMF_RETURN_IF_NONZERO(ReadAviRecord(m_file, chunk.Payload(), std::min(chunk.size, known), basic));
  AviAudioFormat& format = m_stream->audio;
  std::ranges::copy(basic, format.bytes.begin());
  // Larger extra data is left out whole; its size stays as the file says it.
  const std::uint32_t extra = format.ExtraSize();
  if (extra > AviAudioFormat::kMaxExtra || chunk.size <= AviAudioFormat::kExtraOffset) return QMF_OK;
  std::array<std::uint8_t, AviAudioFormat::kMaxExtra> bytes{};
  const std::uint32_t there = std::min(extra, chunk.size - AviAudioFormat::kExtraOffset);
  QMF_RETURN_IF_NONZERO(ReadAviRecord(m_file, chunk.Payload() + AviAudioFormat::kExtraOffset, there, bytes));
  std::ranges::copy(bytes, format.bytes.begin() + AviAudioFormat::kExtraOffset);
  return QMF_OK;
}

QMFResult StreamList::OnData(const AviChunk& chunk) {
  if (m_kind != kStreamVideo || chunk.size != kProtectionSize) return QMF_OK;
  return KeepAviBytes(m_file, chunk, kProtectionSize, m_protection);
}

QMFResult StreamList::OnName(const AviChunk& chunk) {
  return m_ignored ? QMF_OK : KeepAviBytes(m_file, chunk, kMaxNameSize, m_name);
}

QMFResult StreamList::OnIndex(const AviChunk& chunk) {
  if (m_kind == kStreamNone && !m_ignored) return QMF_FAILURE;
  m_title.hasOpenDmlIndex = true;
  m_title.hasIndex = true;
  if (m_ignored) return QMF_OK;
  m_index.emplace().offset = chunk.offset;
  return ReadWholeChunk(chunk, m_index->bytes);
}

void StreamList::Complete() {
  const auto place = static_cast<std::size_t>(m_stream - m_title.streams.data());
  m_stream->index = m_index;
  if (m_index && (m_kind == kStreamVideo || m_title.superIndexEntries == 0)) {
    m_title.superIndexEntries = m_index->EntriesInUse();
  }
  if (m_kind == kStreamVideo && !m_protection.empty()) m_title.protection1 = std::move(m_protection);
  if (m_name.empty()) return;
  if (m_title.names.size() <= place) m_title.names.resize(place + 1);
  m_title.names[place] = std::move(m_name);
}

}  // namespace

QMFResult ReadAviStreamList(AviContainer& container, AviChunkReader& chunks, const AviChunk& list,
                            std::uint64_t end, AviStreamCounts& counts) {
  return StreamList(container, counts).Read(chunks, list, end);
}

QMFResult KeepAviBytes(FileReader& file, const AviChunk& chunk, std::uint32_t limit,
                       std::pmr::vector<std::uint8_t>& kept) {
  if (chunk.End() > file.Size()) return QMF_ERR_FILE_CORRUPT;
  if (chunk.size > limit) return QMF_OUT_OF_MEMORY;
  kept.resize(chunk.size);
  if (file.ReadAt(chunk.Payload(), kept.data(), chunk.size) == chunk.size) return QMF_OK;
  kept.clear();
  return QMF_ERR_FILE_CORRUPT;
}

}  // namespace qmf
