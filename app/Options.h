#pragma once

namespace halvane {

// Takes the optional keys of section "Gateway" of Configs/ZMQ.ini beside the executable into the
// settings, under their own names. A key that is not there is "", and so is one whose value means
// nothing, of which the log tells; what is meant for the log takes effect at once.
void ReadOptions();

} // namespace halvane
