#pragma once
// One call that makes the platform layer ready: meta-types registered and the
// built-in filters in the registry. The plug-in entry point, the hosts and
// the tests call it before using filters by name.

namespace cif {

void initializePlatform();

// The version number of the windowing platform (the AppKit version number the
// plug-in tests to choose between its older and newer catalogs). Ours counts
// as the newer platform; tests set another value to build the older catalog.
inline constexpr double kAppKitVersionNumber = 1038.0;
double appKitVersionNumber();
void setAppKitVersionNumber(double version);

}  // namespace cif
