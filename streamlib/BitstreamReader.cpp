#include "streamlib/BitstreamReader.h"
