#pragma once

/// Marks what libvemo exports; everything else stays hidden inside it.
#define VEMO_LOG_EXPORT __attribute__((visibility("default")))
