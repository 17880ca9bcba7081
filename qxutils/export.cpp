#include "qxutils/export.h"

const char QXUTILS_DEBUG_MODE = 1;
