#include "doctor/Checks.h"

// The platform's component is a matter of Windows.
namespace halvane::doctor {
namespace {

Finding NoComponent() { return Skipped("there is no component on this system"); }

} // namespace

Finding LookAtComponentFile(Case&) { return NoComponent(); }
Finding LookAtComponentBits(Case&) { return NoComponent(); }
Finding LookAtComponentClasses(Case&) { return NoComponent(); }
Finding LookAtRegisteredClasses(Case&) { return NoComponent(); }
Finding LookAtPlatformLogIn(Case&) { return NoComponent(); }

} // namespace halvane::doctor
