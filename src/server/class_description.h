// What the framework needs to know of a creatable class beyond its component's own members.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "server/property_stream.h"

namespace orrelux {

struct ClassDescription {
    const CLSID* Clsid;
    const IID* DualInterface;  // the primary interface; also what IDispatch answers
    const IID* EventInterface; // the default source: the first connection point
    // An interface answered with the primary one as well (null for none).
    const IID* AlsoPrimary;
    PropertyTable Properties; // drives IPersistStreamInit and IPersistStorage
    int Bitmap;               // toolbox picture, drawn at design time
    int RegistryScript;       // REGISTRY resource run by DllRegisterServer
};

} // namespace orrelux
