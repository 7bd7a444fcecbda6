#include "streamlib/BitstreamReader.h"

// The reader is inlined into its users; this source only checks that the header stands alone.
