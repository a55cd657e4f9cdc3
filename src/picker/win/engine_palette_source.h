// The picker's palettes from the imaging engine: the engine's palette object behind the
// portable PaletteSource interface.
#pragma once

#include <memory>

#include "picker/palette_library.h"

namespace orrelux {

// Creates the engine's palette object (CoCreateInstance, any kind of server). Null when the
// engine is not installed or the creation fails: the picker then runs without its palette page.
std::unique_ptr<PaletteSource> CreateEnginePaletteSource();

} // namespace orrelux
