#pragma once

/// Marks what libvemoplatform exports; everything else stays hidden inside it.
#define VEMO_PLATFORM_EXPORT __attribute__((visibility("default")))
