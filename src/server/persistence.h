// The property stream through COM: an IStream as the codec's byte source and sink, and the
// component's dispatch interface as its property access.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "server/property_stream.h"

namespace orrelux {

// Loads the rows of `table` from `stream`: the extent rows into `extent`, every other row
// through a property put by dispid on `dispatch`. S_OK, or the stream's failure as it is, or
// E_FAIL (newer version, short or malformed row, refused put). Rows before a failure stay.
HRESULT LoadPropertyStream(IStream* stream, PropertyTable table, IDispatch* dispatch,
                           SIZEL& extent);

// Writes the version and the rows of `table`, reading typed rows through property gets. S_OK,
// the stream's failure as it is, or E_FAIL for a failed get. Rows written before it stay.
HRESULT SavePropertyStream(IStream* stream, PropertyTable table, IDispatch* dispatch, SIZEL extent);

} // namespace orrelux
