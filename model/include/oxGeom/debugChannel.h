#pragma once
// The geometry debug channel: where the mesh algorithms write their timing and
// diagnostic lines. Silent until the host (or a test) enables it.

#include "oxOS/DebugChannel.h"

namespace oxGeom
{
/// Returns the one process-wide geometry debug channel (created on first use,
/// disabled, writing to stderr). Thread safety: safe to call from any thread.
/// Cost: O(1).
oxOS::DebugChannel& debugChannel();
}  // namespace oxGeom
