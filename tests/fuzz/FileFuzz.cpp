// One file through the whole road: probes, opening, the title, the seven properties, every query, blocks,
// seeks, closing.

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/support/Contract.h"
#include "tests/support/WholeRoad.h"

namespace qmf::fuzz {
namespace {

constexpr char16_t kName[] = FUZZ_FILE_NAME;
constexpr std::size_t kMostHeap = 64U << 20;

void UseFile(const FuzzInput& input, test::BudgetHeap& heap) {
  const auto reader = input.MakeReader();
  const test::ReadingCosts costs(*reader);
  const SharedFileScope named(kName, reader);
  const SharedFileScope beside(u"beside.mkv", input.Second().MakeReader());
  QMFContainer* container = nullptr;
  const QMFResult opened = OpenContainer(&container, kName, &heap);
  test::RequireKnown(opened);
  test::Require((opened == QMF_OK) == (container != nullptr), "a container exactly when opening succeeded");
  if (container != nullptr) {
    test::RequireKnown(SetTitle(container, 0));
    (void)ReadPropertyValues(container);
  }
  costs.RequireWithinBudget();
  test::Require(heap.Peak() <= test::PropertyBudget::kHeap, "the properties cost at most 16 MiB of heap");
  if (container == nullptr) return;
  test::UseContainer(container, input.Variant());
  test::RequireKnown(CloseContainer(container));
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qmf::SetLogOff();
  qmf::test::BudgetHeap heap(qmf::fuzz::kMostHeap);
  qmf::fuzz::UseFile(qmf::fuzz::FuzzInput({data, size}), heap);
  qmf::test::Require(heap.InUse() == 0, "everything is given back");
  return 0;
}
