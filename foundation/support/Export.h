#pragma once

// Marks what the program offers by name to the modules that are loaded into it. What is linked into
// the program is built with HALVANE_BUILDING; a module on the outside is not, and imports.
#if !defined(_WIN32)
#define HALVANE_EXPORT
#elif defined(HALVANE_BUILDING)
#define HALVANE_EXPORT __declspec(dllexport)
#else
#define HALVANE_EXPORT __declspec(dllimport)
#endif
