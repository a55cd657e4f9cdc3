// Registration scripts (REGISTRY resources), run by the script registrar object of atl.dll.
#pragma once

#include <windows.h>
#include <ole2.h>

namespace orrelux {

// Runs the REGISTRY resource `id` of the module in register or unregister mode, with one
// replacement: MODULE stands for the module's short path, each single quote doubled.
HRESULT RunRegistrationScript(int id, bool registering);

} // namespace orrelux
