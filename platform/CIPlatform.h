#pragma once
// One call that makes the platform layer ready: meta-types registered and the
// built-in filters in the registry. The plug-in entry point, the hosts and
// the tests call it before using filters by name.

namespace cif {

void initializePlatform();

}  // namespace cif
