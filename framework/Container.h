#pragma once

#include <cstdint>
#include <span>

#include "framework/ModuleInterface.h"

namespace qmf {

/// One opened file of a container.
struct QMFModuleInstance {
  static constexpr std::int32_t kMark = 100;

  std::int32_t mark = kMark;
  std::int32_t moduleId = 0;
  QMFModuleHandle moduleHandle = nullptr;
  std::int32_t currentStream = -1;
  QMFAllocator* allocator = nullptr;
};

/// An opened path of up to kMaxInstances pieces joined by ';'. Calls on one container must not overlap;
/// different containers may be used, opened and closed by different threads at once.
struct QMFContainer {
  static constexpr std::int32_t kMark = 0x65;
  static constexpr std::uint32_t kMaxInstances = 10;

  std::int32_t mark =
      kMark;  ///< Anything else than kMark means that the container is not (or no longer) open.
  QMFModuleInstance** instances = nullptr;
  std::uint32_t count = 0;
  QMFAllocator* allocator = nullptr;  ///< Null for the process heap.
  struct ContainerBlocks* blocks =
      nullptr;  ///< Look-ahead of ReadNextBlock; null until several pieces are read.
};

/// Every operation answers QMF_ERR_INVALID_HANDLER for a null container and QMF_FAILURE for one whose mark is
/// wrong; an instance whose module id is out of range gives QMF_ERR_GET_MODULE_ID, an unregistered module
/// QMF_FAILURE and an operation that the module lacks QMF_ERR_NULL_MODULE_FUNC. Stream numbers count over all
/// pieces, in order.

/// Opens each piece of `path` (zero-terminated UTF-16) with the module that bids highest for it. Without any
/// piece, or with more than kMaxInstances, gives QMF_ERR_OPEN_CONTAINER; a piece that no module accepts gives
/// QMF_ERR_UNSUPPORTED_CONTAINER; a module's failure to open is passed on. On failure nothing stays open.
QMFResult OpenContainer(QMFContainer** container, const char16_t* path, QMFAllocator* allocator);

/// Closes every piece and frees the container.
QMFResult CloseContainer(QMFContainer* container);

/// Selects a title in every piece; the first result other than 0 is returned at once.
QMFResult SetTitle(QMFContainer* container, std::uint32_t titleIndex);

/// Selects a menu in the first piece.
QMFResult SetMenu(QMFContainer* container, std::uint32_t menuIndex);

/// Answers a query. Identifiers without stream kind go to the first piece, the others to the piece that holds
/// stream `index` of their kind, with `index` as the caller gave it: the streams of earlier pieces are not
/// subtracted, and callers rely on that. A stream that no piece holds is QMF_ERR_INVALID_STREAM, null `data`
/// QMF_ERR_INVALID_HANDLER.
QMFResult GetInfo(QMFContainer* container, std::uint32_t qid, QMFQueryData* data, std::uint32_t index);

/// How many streams of `blockType` all pieces have together.
QMFResult CountStreams(QMFContainer* container, std::uint32_t blockType, std::uint32_t* count);

/// Sets what a query identifier names, routed as in GetInfo.
QMFResult SetInfo(QMFContainer* container, std::uint32_t qid, QMFQueryData* data, std::uint32_t index);

/// Moves reading of a stream to the block at or before `*time` (100-ns units) and writes where it landed. The
/// other pieces stay where they are.
QMFResult SetPosition(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                      std::int64_t* time);

/// Switches delivery of a stream on or off.
QMFResult SetTitleActiveStream(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                               std::uint32_t active);

/// The next block of the active streams: in file order within a piece, in time order between pieces.
QMFResult ReadNextBlock(QMFContainer* container, std::uint32_t* blockType, std::uint32_t* stream,
                        QMFBlock* block, std::int64_t* time);

/// The next block of one stream.
QMFResult ReadNextBlockByStream(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                                QMFBlock* block, std::int64_t* time);

/// The id of the module that reads piece `piece`: the winner of the bidding, not the logging module in front
/// of it.
QMFResult GetModuleOfPiece(QMFContainer* container, std::uint32_t piece, std::int32_t* moduleId);

}  // namespace qmf
