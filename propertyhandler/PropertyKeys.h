#pragma once

#include <windows.h>

#include <propsys.h>

#include "propertyhandler/PropertyIds.h"

namespace qmf {

/// The platform's key of a property, and the type of its value there.
struct ShellProperty {
  PROPERTYKEY key;
  VARTYPE type;
};

const ShellProperty& ShellPropertyOf(PropertyId property);

}  // namespace qmf
