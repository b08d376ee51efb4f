#pragma once

/// Marks what libsubscriptionmanager exports; everything else stays hidden inside it.
#define VEMO_SUBSCRIPTION_EXPORT __attribute__((visibility("default")))
