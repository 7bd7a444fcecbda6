#include "framework/ContainerAccess.h"
#include "framework/QueryIds.h"

namespace qmf {
namespace {

std::uint32_t CountQueryOf(std::uint32_t blockType) {
  switch (blockType) {
    case kBlockAudio:
      return QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA;
    case kBlockVideo:
    case kBlockVideoAlternate:
      return QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA;
    default:
      return 0;
  }
}

std::uint32_t BlockTypeOf(QMFStreamKind kind) {
  switch (kind) {
    case kStreamVideo:
      return kBlockVideo;
    case kStreamAudio:
      return kBlockAudio;
    case kStreamSubtitle:
      return kBlockSubtitle;
    case kStreamNone:
      break;
  }
  return 0;
}

QMFResult CountStreams(const QMFContainer& container, std::uint32_t piece, std::uint32_t blockType,
                       std::uint32_t& count) {
  const std::uint32_t qid = CountQueryOf(blockType);
  if (qid == 0) return QMF_ERR_INVALID_STREAM;
  QMFQueryData data;
  QMF_RETURN_IF_NONZERO(CallPiece(container, piece, &QMFModuleEntryPoints::GetInfo, qid, &data, 0U));
  count = static_cast<std::uint16_t>(data.value);
  return QMF_OK;
}

// Which piece answers `qid` for `index`.
QMFResult RouteQuery(const QMFContainer& container, std::uint32_t qid, std::uint32_t index,
                     std::uint32_t& piece) {
  piece = 0;
  const QMFStreamKind kind = StreamKindOf(qid);
  if (kind == kStreamNone) return QMF_OK;
  StreamPlace place{};
  QMF_RETURN_IF_NONZERO(FindStream(container, BlockTypeOf(kind), index, place));
  piece = place.piece;
  return QMF_OK;
}

// Whoever chooses what of a piece is played starts it anew.
bool StartsAnew(std::uint32_t qid) {
  return qid == QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX || qid == QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX ||
         qid == QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG;
}

// Answered by the container itself: the sum over all pieces. Any piece that fails fails the whole query.
QMFResult SumTitleMediaProps(const QMFContainer& container, QMFQueryData& data) {
  if (data.pointer == nullptr || data.size < sizeof(QMFTitleMediaProp)) return QMF_ERR_BUFFER_TOO_SMALL;
  auto& sum = *static_cast<QMFTitleMediaProp*>(data.pointer);
  sum = {};
  for (std::uint32_t piece = 0; piece < container.count; ++piece) {
    QMFTitleMediaProp own{};
    QMFQueryData ask;
    ask.size = sizeof(own);
    ask.pointer = &own;
    if (CallPiece(container, piece, &QMFModuleEntryPoints::GetInfo,
                  std::uint32_t{QMF_QID_GET_TITLE_MEDIA_PROP}, &ask, 0U) != QMF_OK) {
      return QMF_FAILURE;
    }
    sum.flags = own.flags;
    for (int i = 0; i < 3; ++i) sum.counts[i] = static_cast<std::uint16_t>(sum.counts[i] + own.counts[i]);
  }
  data.type = kValueRecord;
  return QMF_OK;
}

}  // namespace

QMFResult FindStream(const QMFContainer& container, std::uint32_t blockType, std::uint32_t stream,
                     StreamPlace& place) {
  std::uint32_t local = stream;
  for (std::uint32_t piece = 0; piece < container.count; ++piece) {
    std::uint32_t count = 0;
    QMF_RETURN_IF_NONZERO(CountStreams(container, piece, blockType, count));
    if (local < count) {
      place = {piece, local};
      return QMF_OK;
    }
    local -= count;
  }
  return QMF_ERR_INVALID_STREAM;
}

QMFResult CountStreamsBefore(const QMFContainer& container, std::uint32_t blockType, std::uint32_t piece,
                             std::uint32_t& count) {
  count = 0;
  for (std::uint32_t earlier = 0; earlier < piece; ++earlier) {
    std::uint32_t own = 0;
    QMF_RETURN_IF_NONZERO(CountStreams(container, earlier, blockType, own));
    count += own;
  }
  return QMF_OK;
}

QMFResult CountStreams(QMFContainer* container, std::uint32_t blockType, std::uint32_t* count) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  if (count == nullptr) return QMF_ERR_INVALID_HANDLER;
  return CountStreamsBefore(*container, blockType, container->count, *count);
}

QMFResult GetInfo(QMFContainer* container, std::uint32_t qid, QMFQueryData* data, std::uint32_t index) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  if (data == nullptr) return QMF_ERR_INVALID_HANDLER;
  if (qid == QMF_QID_GET_TITLE_MEDIA_PROP) return SumTitleMediaProps(*container, *data);
  std::uint32_t piece = 0;
  QMF_RETURN_IF_NONZERO(RouteQuery(*container, qid, index, piece));
  return CallPiece(*container, piece, &QMFModuleEntryPoints::GetInfo, qid, data, index);
}

QMFResult SetInfo(QMFContainer* container, std::uint32_t qid, QMFQueryData* data, std::uint32_t index) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  if (data == nullptr) return QMF_ERR_INVALID_HANDLER;
  std::uint32_t piece = 0;
  QMF_RETURN_IF_NONZERO(RouteQuery(*container, qid, index, piece));
  if (StartsAnew(qid)) ForgetLookAhead(*container, piece);
  return CallPiece(*container, piece, &QMFModuleEntryPoints::SetInfo, qid, data, index);
}

QMFResult SetTitleActiveStream(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                               std::uint32_t active) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  StreamPlace place{};
  QMF_RETURN_IF_NONZERO(FindStream(*container, blockType, stream, place));
  SwitchLookAhead(*container, blockType, place, active);
  return CallPiece(*container, place.piece, &QMFModuleEntryPoints::SetTitleActiveStream, blockType,
                   place.localStream, active);
}

}  // namespace qmf
