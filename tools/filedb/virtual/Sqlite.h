#pragma once

/// @file
/// SQLite as the program links it, or, in the loadable extension, as the program that loads it has it.

#ifdef VEMO_LOADABLE_EXTENSION
#include <sqlite3ext.h>
extern const sqlite3_api_routines* sqlite3_api;
#else
#include <sqlite3.h>
#endif
