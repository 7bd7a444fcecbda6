#pragma once

// The checks and look-ups that all operations on a container share. Internal to the framework.

#include "framework/Container.h"
#include "framework/ReturnIf.h"

namespace qmf {

/// Null and mark checks of every operation.
QMFResult CheckContainer(const QMFContainer* container);

/// The entry points behind instance `piece`, or the failure that its state gives.
QMFResult FindEntryPoints(const QMFContainer& container, std::uint32_t piece,
                          const QMFModuleEntryPoints*& slots);

/// Calls `slot` of instance `piece` with its module handle in front of `arguments`.
template <class... Parameters, class... Arguments>
QMFResult CallPiece(const QMFContainer& container, std::uint32_t piece,
                    QMFResult (*QMFModuleEntryPoints::*slot)(QMFModuleHandle, Parameters...),
                    Arguments... arguments) {
  const QMFModuleEntryPoints* slots = nullptr;
  QMF_RETURN_IF_NONZERO(FindEntryPoints(container, piece, slots));
  if (slots->*slot == nullptr) return QMF_ERR_NULL_MODULE_FUNC;
  return (slots->*slot)(container.instances[piece]->moduleHandle, arguments...);
}

/// A stream as one piece knows it.
struct StreamPlace {
  std::uint32_t piece;
  std::uint32_t localStream;
};

/// Finds the piece that holds stream `stream` of `blockType`, asking each piece for its count.
QMFResult FindStream(const QMFContainer& container, std::uint32_t blockType, std::uint32_t stream,
                     StreamPlace& place);

/// How many streams of `blockType` the pieces before `piece` have.
QMFResult CountStreamsBefore(const QMFContainer& container, std::uint32_t blockType, std::uint32_t piece,
                             std::uint32_t& count);

/// Frees the look-ahead of ReadNextBlock, if there is one.
void DropLookAhead(QMFContainer& container);

/// Drops what was read ahead of `piece`, which goes on from another place.
void ForgetLookAhead(QMFContainer& container, std::uint32_t piece);

/// What the look-ahead makes of a stream that is switched on or off: the end of its piece is asked for anew,
/// and its block, if that is what was read ahead, goes when it is switched off.
void SwitchLookAhead(QMFContainer& container, std::uint32_t blockType, const StreamPlace& place,
                     std::uint32_t active);

}  // namespace qmf
