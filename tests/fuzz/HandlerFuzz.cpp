// What the Shell asks of one object: a file under some name, its seven values, then the same file once more
// before the first is closed. The first byte chooses the name, so that every module meets every kind of file.

#include <array>
#include <memory>

#include "framework/LogWriter.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/support/Contract.h"

namespace qmf::fuzz {
namespace {

constexpr const char16_t* kNames[] = {u"f.mkv",  u"f.qivo", u"F.AVI", u"f.mp4",
                                      u"f.h264", u"f.aac",  u"f.srt", u"f"};

struct Initialized {
  QMFContainer* container = nullptr;
  QMFResult result = QMF_OK;
  PropertyValues values;
};

Initialized Initialize(const char16_t* name, const FuzzInput& input, QMFAllocator& heap) {
  const auto reader = input.MakeReader();
  const test::ReadingCosts costs(*reader);
  const SharedFileScope named(name, reader);
  Initialized object;
  object.result = OpenContainer(&object.container, name, &heap);
  test::RequireKnown(object.result);
  if (object.result == QMF_OK) {
    object.result = SetTitle(object.container, 0);
    test::RequireKnown(object.result);
  }
  if (object.result == QMF_OK) object.values = ReadPropertyValues(object.container);
  costs.RequireWithinBudget();
  return object;
}

void RequireSound(const PropertyValues& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    test::Require(i == kMediaDuration || values[i].value_or(0) <= 0xFFFF, "values of 16 bits");
  }
}

void UseObject(const char16_t* name, const FuzzInput& input) {
  test::BudgetHeap firstHeap(test::PropertyBudget::kHeap);
  test::BudgetHeap secondHeap(test::PropertyBudget::kHeap);
  const Initialized first = Initialize(name, input, firstHeap);
  const Initialized second = Initialize(name, input, secondHeap);
  test::Require(first.result == second.result && first.values == second.values,
                "the same file says the same twice");
  test::Require(first.result != QMF_OUT_OF_MEMORY, "the properties cost at most 16 MiB of heap");
  RequireSound(first.values);
  for (QMFContainer* container : {first.container, second.container}) {
    if (container != nullptr) test::RequireKnown(CloseContainer(container));
  }
  test::Require(firstHeap.InUse() == 0 && secondHeap.InUse() == 0, "everything is given back");
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  qmf::SetLogOff();
  qmf::fuzz::UseObject(qmf::fuzz::kNames[data[0] % std::size(qmf::fuzz::kNames)],
                       qmf::fuzz::FuzzInput({data + 1, size - 1}));
  return 0;
}
