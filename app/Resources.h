#pragma once

// The numbers of the program's Windows resources.
#define HALVANE_DIALOG 101
#define HALVANE_STATUS 102
