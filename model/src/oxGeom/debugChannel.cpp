// The process-wide geometry debug channel. A function-local static gives
// thread-safe creation on first use with no dependence on the order in which
// static objects are initialised; it is deliberately never destroyed, so code
// running in other static destructors at process exit may still print.

#include "oxGeom/debugChannel.h"

namespace oxGeom
{
oxOS::DebugChannel& debugChannel()
{
    static oxOS::DebugChannel* const channel = new oxOS::DebugChannel;
    return *channel;
}
}  // namespace oxGeom
