#pragma once

#include <array>
#include <deque>
#include <string>
#include <vector>

#include "framework/ModuleInterface.h"

namespace qmf::test {

/// A block that a fake module delivers.
struct FakeBlock {
  std::uint32_t blockType;
  std::uint32_t stream;
  std::int64_t time;
  std::string bytes;
};

/// A module made of answers. Programs that link this file have the modules 1, 2, 3 and the logging module
/// registered instead of the real ones; a test sets what each of them says and may empty slots.
struct FakeModule {
  QMFModuleHeader header = {{1, 0, 0, 0, 0, 0}, u".fake", u"fake"};
  QMFModuleEntryPoints slots;
  std::int32_t score = 0;
  QMFResult probeResult = QMF_OK;
  QMFResult openResult = QMF_OK;
  QMFResult result = QMF_OK;                       ///< Of every other call.
  std::array<std::uint16_t, 4> streamCounts = {};  ///< By QMFStreamKind.
  std::deque<FakeBlock> blocks;
};

/// The fake module 1, 2 or 3.
FakeModule& Fake(int moduleId);

/// Calls that reached fake modules since the last ResetFakes, as "2:SetTitle 0". Probes, stream counts and
/// block reads in file order are left out.
std::vector<std::string>& FakeCalls();

/// All fakes as they are at the start of the program, all slots filled, none bidding.
void ResetFakes();

/// Instances that fake modules have opened and not closed.
int OpenFakeInstances();

}  // namespace qmf::test
