#include "framework/Container.h"

#include <new>
#include <string>

#include "framework/ContainerAccess.h"
#include "framework/LoggingModule.h"
#include "framework/ModuleTable.h"
#include "framework/PathSplitter.h"

namespace qmf {
namespace {

std::pmr::polymorphic_allocator<> MemoryOf(const QMFContainer& container) {
  return AllocatorOrHeap(container.allocator);
}

QMFContainer* NewContainer(QMFAllocator* allocator) {
  std::pmr::polymorphic_allocator<> memory(AllocatorOrHeap(allocator));
  auto* const container = memory.new_object<QMFContainer>();
  container->allocator = allocator;
  try {
    container->instances = memory.allocate_object<QMFModuleInstance*>(QMFContainer::kMaxInstances);
  } catch (...) {
    memory.delete_object(container);
    throw;
  }
  std::fill_n(container->instances, QMFContainer::kMaxInstances, nullptr);
  return container;
}

// The mark goes first: whoever still holds the pointer is refused for as long as the memory lasts.
void FreeContainer(QMFContainer* container) {
  std::pmr::polymorphic_allocator<> memory = MemoryOf(*container);
  DropLookAhead(*container);
  container->mark = 0;
  memory.deallocate_object(container->instances, QMFContainer::kMaxInstances);
  memory.delete_object(container);
}

QMFResult OpenPiece(QMFContainer& container, std::u16string_view piece) {
  if (container.count == QMFContainer::kMaxInstances) return QMF_ERR_OPEN_CONTAINER;
  const QMFModuleDescriptor* const logging = FindModule(kModuleLogging);
  if (logging == nullptr || logging->entryPoints->OpenContainer == nullptr) return QMF_FAILURE;
  const std::pmr::u16string path(piece, AllocatorOrHeap(container.allocator));
  auto* const instance = MemoryOf(container).new_object<QMFModuleInstance>();
  instance->moduleId = kModuleLogging;
  instance->allocator = container.allocator;
  const QMFResult result =
      logging->entryPoints->OpenContainer(&instance->moduleHandle, path.c_str(), container.allocator);
  if (IsFailure(result)) {
    MemoryOf(container).delete_object(instance);
    return result;
  }
  container.instances[container.count++] = instance;
  return QMF_OK;
}

QMFResult OpenPieces(QMFContainer& container, std::u16string_view path) noexcept {
  try {
    PathSplitter pieces(path);
    for (std::u16string_view piece = pieces.Next(); !piece.empty(); piece = pieces.Next()) {
      QMF_RETURN_IF_NONZERO(OpenPiece(container, piece));
    }
    return container.count > 0 ? QMF_OK : QMF_ERR_OPEN_CONTAINER;
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
}

QMFResult ClosePiece(QMFContainer& container, std::uint32_t piece) {
  QMFModuleInstance*& instance = container.instances[piece];
  if (instance == nullptr) return QMF_ERR_GET_MODULE_ID;
  const QMFResult result = CallPiece(container, piece, &QMFModuleEntryPoints::CloseContainer);
  instance->mark = 0;
  MemoryOf(container).delete_object(instance);
  instance = nullptr;
  return result;
}

}  // namespace

QMFResult CheckContainer(const QMFContainer* container) {
  if (container == nullptr) return QMF_ERR_INVALID_HANDLER;
  return container->mark == QMFContainer::kMark ? QMF_OK : QMF_FAILURE;
}

QMFResult FindEntryPoints(const QMFContainer& container, std::uint32_t piece,
                          const QMFModuleEntryPoints*& slots) {
  const QMFModuleInstance* const instance = piece < container.count ? container.instances[piece] : nullptr;
  if (instance == nullptr) return QMF_ERR_INVALID_HANDLER;
  if (instance->moduleId < kFirstModuleId || instance->moduleId > kLastModuleId) return QMF_ERR_GET_MODULE_ID;
  const QMFModuleDescriptor* const module = FindModule(instance->moduleId);
  if (module == nullptr) return QMF_FAILURE;
  slots = module->entryPoints;
  return QMF_OK;
}

QMFResult OpenContainer(QMFContainer** container, const char16_t* path, QMFAllocator* allocator) {
  if (container == nullptr || path == nullptr) return QMF_ERR_INVALID_HANDLER;
  *container = nullptr;
  QMFContainer* opened = nullptr;
  try {
    opened = NewContainer(allocator);
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
  if (const QMFResult result = OpenPieces(*opened, path); result != QMF_OK) {
    (void)CloseContainer(opened);
    return result;
  }
  *container = opened;
  return QMF_OK;
}

QMFResult CloseContainer(QMFContainer* container) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  QMFResult first = QMF_OK;
  for (std::uint32_t piece = 0; piece < container->count; ++piece) {
    const QMFResult result = ClosePiece(*container, piece);
    if (first == QMF_OK) first = result;
  }
  FreeContainer(container);
  return first;
}

QMFResult SetTitle(QMFContainer* container, std::uint32_t titleIndex) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  DropLookAhead(*container);
  for (std::uint32_t piece = 0; piece < container->count; ++piece) {
    QMF_RETURN_IF_NONZERO(CallPiece(*container, piece, &QMFModuleEntryPoints::SetTitle, titleIndex));
  }
  return QMF_OK;
}

QMFResult SetMenu(QMFContainer* container, std::uint32_t menuIndex) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  return CallPiece(*container, 0, &QMFModuleEntryPoints::SetMenu, menuIndex);
}

QMFResult GetModuleOfPiece(QMFContainer* container, std::uint32_t piece, std::int32_t* moduleId) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  if (moduleId == nullptr || piece >= container->count) return QMF_ERR_INVALID_HANDLER;
  *moduleId = LoggedModuleId(container->instances[piece]->moduleHandle);
  return QMF_OK;
}

}  // namespace qmf
