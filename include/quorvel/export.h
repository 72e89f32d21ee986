// Marks what the shared library shows to its hosts. Everything else stays hidden inside it.
#pragma once

#if defined(__GNUC__)
#define QUORVEL_API __attribute__((visibility("default")))
#else
#define QUORVEL_API
#endif
