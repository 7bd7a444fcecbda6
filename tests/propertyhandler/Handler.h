#pragma once

#include "tests/propertyhandler/ShellObject.h"

namespace qmf::test {

/// The class factory that this program's own copy of the handler gives out; the first call loads it, without
/// a log.
ComPtr<IClassFactory> HandlerFactory();

/// A fresh object of this program's own copy of the handler.
ComPtr<IPropertyStore> NewHandler();

}  // namespace qmf::test
