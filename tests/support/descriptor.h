#pragma once

#include "shared/owned_descriptor.h"

namespace quon::test {

using Descriptor = owned_descriptor;

}  // namespace quon::test
