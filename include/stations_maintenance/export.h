#pragma once

/// Marks what the library offers to others; everything else stays hidden in it.
#define STATIONS_MAINTENANCE_EXPORT __attribute__((visibility("default")))
