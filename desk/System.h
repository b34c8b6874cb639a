#pragma once

#include <string>

namespace halvane::desk {

// Shows the address in the browser that this user prefers; false when the system cannot.
bool OpenInBrowser(const std::string& url);

// Whether an address may be listened on whose connections of before are not forgotten yet. Where
// that means that two programs may share it, it may not.
extern const bool kReuseAddress;

} // namespace halvane::desk
