// The names of the command-line library, for headers. The library itself takes seconds to compile: only the
// sources that add options include it.
#pragma once

namespace CLI {
class App;
class Option;
}  // namespace CLI
