#pragma once

/// @file
/// The mark of what the shared library exports.

/// Marks a class that the shared library exports; everything else stays hidden inside it.
#define VEMO_DATABASE_EXPORT __attribute__((visibility("default")))
