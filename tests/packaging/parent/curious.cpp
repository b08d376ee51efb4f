#include "TableStore.h"  // an inner header of the library
