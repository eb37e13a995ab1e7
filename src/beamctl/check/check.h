#pragma once

#include <string>

#include "beamctl/check/finding.h"

namespace check {

/// What there is to say about beamd's configuration in the tree at @p root, an existing folder that holds the
/// file system of a camera or as much of it as concerns beamd.
Findings check_tree(const std::string &root);

}  // namespace check
