// Placed first on the include path of the portable layers: they build without the Windows
// headers, and this makes any attempt to include one a compile error on every platform.
#error "portable code must not include <objbase.h>"
