// Signals: emission order, connection changes during an emission, either end
// destroyed first, and an entity's destruction and modification signals as a
// mesh cache listens to them.

#include "oxRTB/Signal.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

using oxRTB::Entity;
using oxRTB::EntityModification;
using oxRTB::Signal;
using oxRTB::SignalClient;

namespace
{
/// A listener in the style of a cache: member functions bound to the client.
struct Listener : SignalClient
{
    void onDestroyed(Entity* entity) { destroyed.push_back(entity); }
    void onModified(EntityModification& m) { modified.push_back(m.getEntity()); }
    std::vector<Entity*> destroyed;
    std::vector<const Entity*> modified;
};

struct Thing : Entity
{
};
}  // namespace

TEST(Signal, emitsInConnectionOrderAndSurvivesDisconnectsInCallbacks)
{
    Signal<int> signal;
    SignalClient a, b, c;
    std::string log;
    a.connect(signal, [&](int x) { log += "a" + std::to_string(x); });
    b.connect(signal, [&](int x) { log += "b" + std::to_string(x); });
    a.connect(signal, [&](int x) { log += "A" + std::to_string(x); });
    signal.emit(1);
    EXPECT_EQ(log, "a1b1A1");

    log.clear();
    bool once = true;
    b.connect(signal,
              [&](int)
              {
                  if (!std::exchange(once, false))
                      return;
                  c.disconnect(signal);  // later in this emission: not called
                  a.disconnectAll();     // earlier ones and itself
                  c.connect(signal, [&](int) { log += "new"; });  // from the next emission
              });
    c.connect(signal, [&](int) { log += "c"; });
    signal.emit(2);
    EXPECT_EQ(log, "a2b2A2");
    log.clear();
    signal.emit(3);
    EXPECT_EQ(log, "b3new");
    EXPECT_EQ(a.getNumConnections(), 0);
}

TEST(Signal, destroyedClientNeverReceives)
{
    Signal<int> signal;
    int calls = 0;
    {
        SignalClient client;
        client.connect(signal, [&](int) { ++calls; });
    }
    auto victim = std::make_unique<SignalClient>();
    SignalClient killer;
    killer.connect(signal, [&](int) { victim.reset(); });  // destroyed mid-emission
    victim->connect(signal, [&](int) { ++calls; });
    signal.emit(0);
    signal.emit(0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(signal.getNumConnections(), 1);
}

TEST(Signal, destroyedSignalLeavesClientsClean)
{
    SignalClient client;
    Signal<int> keep;
    client.connect(keep, [](int) {});
    {
        Signal<int> shortLived;
        client.connect(shortLived, [](int) {});
    }
    EXPECT_EQ(client.getNumConnections(), 1);
    client.disconnectAll();  // must not touch the dead signal
    EXPECT_EQ(keep.getNumConnections(), 0);

    auto signal = std::make_unique<Signal<int>>();
    int after = 0;
    client.connect(*signal, [&](int) { signal.reset(); });  // destroyed mid-emission
    client.connect(*signal, [&](int) { ++after; });
    signal->emit(0);
    EXPECT_EQ(after, 0);
    EXPECT_EQ(client.getNumConnections(), 0);
}

TEST(Entity, signalsCarryTheEntityAndCopiesHaveNoListeners)
{
    Listener listener;
    Entity* address = nullptr;
    {
        Thing thing;
        address = &thing;
        listener.connect(thing.destructionSignal(), oxRTB::FunctionArgMember<Listener, Entity*>(
                                                        &listener, &Listener::onDestroyed));
        listener.connect(thing.modificationSignal(),
                         oxRTB::makeFunctionArgMember(&listener, &Listener::onModified));
        EntityModification modification(&thing);
        thing.emitModification(modification);
        Thing copy(thing);
        copy = thing;
        EXPECT_EQ(copy.modificationSignal().getNumConnections(), 0);
        listener.disconnect(thing.modificationSignal());
        thing.emitModification(modification);
    }
    EXPECT_EQ(listener.modified, (std::vector<const Entity*>{address}));
    EXPECT_EQ(listener.destroyed, (std::vector<Entity*>{address}));
    EXPECT_EQ(listener.getNumConnections(), 0);
}
