#pragma once

#include "framework/Container.h"

namespace qmf::test {

/// The calls that programs make of an opened container, each with its promises. `container` has a title
/// selected or failed to; `variant` chooses among indexes and buffer sizes.
///
/// Results are 0 or documented, answers stay within their buffers, blocks within theirs.
void AskEverything(QMFContainer* container, std::uint32_t variant);
void SetEverything(QMFContainer* container, std::uint32_t variant);
void ReadBlocks(QMFContainer* container, int most);
void SeekAndRead(QMFContainer* container);

/// All of them, the streams of every kind active, and the title and menus selected once more in between.
void UseContainer(QMFContainer* container, std::uint32_t variant);

}  // namespace qmf::test
