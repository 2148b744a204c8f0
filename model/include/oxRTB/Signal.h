#pragma once
// oxRTB signals: a minimal observer mechanism by which objects (meshes) announce
// their modification and destruction to listeners (caches). Both ends track the
// connections between them, so either a signal or a listening client may be
// destroyed first without leaving a dangling callback behind.
//
// Thread safety of everything in this header: signals, clients and entities are
// used from one thread at a time. Connecting, disconnecting and emitting on the
// same signal or client from different threads at once is not supported.

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace oxRTB
{
class SignalBase;
class SignalClient;

namespace detail
{
/// One link between a signal and a client. Owned jointly (shared_ptr) by both
/// ends; each end clears its pointer when it lets go, and a link whose
/// `connected` flag is down is never called again.
struct ConnectionBase
{
    virtual ~ConnectionBase() = default;

    SignalBase* signal = nullptr;
    SignalClient* client = nullptr;
    bool connected = true;
};

template <class Arg>
struct Connection : ConnectionBase
{
    explicit Connection(std::function<void(Arg)> f) : callback(std::move(f)) {}
    std::function<void(Arg)> callback;
};
}  // namespace detail

/// The type-independent part of a signal: its list of connections.
/// Not copyable: a signal belongs to one object. Destroying a signal removes its
/// connections from their clients, so a client never refers to a dead signal.
/// Cost: connecting is amortised O(1); disconnecting a client is linear in the
/// number of connections of the signal and of the client.
class SignalBase
{
public:
    SignalBase() = default;
    SignalBase(const SignalBase&) = delete;
    SignalBase& operator=(const SignalBase&) = delete;
    virtual ~SignalBase();

    /// Number of live connections (disconnected links pending removal during an
    /// emission are not counted).
    int getNumConnections() const;

protected:
    using ConnectionPtr = std::shared_ptr<detail::ConnectionBase>;

    /// Calls `invoke` on every connection that was live when the emission began
    /// and still is when its turn comes, in connection order. Connections made
    /// during the emission are not called by it. The signal may be destroyed by
    /// a callback; the emission then stops.
    void emitEach(const std::function<void(detail::ConnectionBase&)>& invoke);

private:
    friend class SignalClient;

    void attach(ConnectionPtr connection);
    /// Marks a connection dead and drops it now, or after the current emission.
    void detach(detail::ConnectionBase* connection);
    void removeDeadConnections();

    std::vector<ConnectionPtr> m_connections;
    int m_emitDepth = 0;
    bool m_hasDeadConnections = false;
    /// Set by the destructor when it runs inside an emission, so that the
    /// emitting frames stop touching the signal.
    bool* m_destroyedFlag = nullptr;
};

/// A signal carrying one argument of type Arg (a value, pointer or reference).
/// Inputs: callbacks connected through SignalClient::connect.
/// emit(arg) calls every callback in connection order with `arg`. A callback may
/// disconnect itself or any other connection, connect new ones (not called in
/// the running emission), destroy its client, or emit again (nested emission).
template <class Arg>
class Signal : public SignalBase
{
public:
    void emit(Arg arg)
    {
        emitEach([&arg](detail::ConnectionBase& c)
                 { static_cast<detail::Connection<Arg>&>(c).callback(arg); });
    }
};

/// Owner of connections. A class listening to signals holds (or is) a
/// SignalClient; every callback it connects lives as long as the client or the
/// signal, whichever dies first. Destroying the client disconnects everything,
/// so a destroyed client never receives a signal.
/// Not copyable: connections are not duplicated.
class SignalClient
{
public:
    SignalClient() = default;
    SignalClient(const SignalClient&) = delete;
    SignalClient& operator=(const SignalClient&) = delete;
    virtual ~SignalClient();

    /// Connects `callback` (any callable taking Arg, e.g. a FunctionArgMember)
    /// to `signal`, after the signal's existing connections. The same client
    /// may connect several callbacks to one signal; each is called once per
    /// emission. Cost: amortised O(1).
    template <class Arg, class Callback>
    void connect(Signal<Arg>& signal, Callback callback)
    {
        auto connection = std::make_shared<detail::Connection<Arg>>(
            std::function<void(Arg)>(std::move(callback)));
        link(signal, std::move(connection));
    }

    /// Removes every connection of this client to `signal` (none: no effect).
    void disconnect(SignalBase& signal);
    /// Removes every connection of this client.
    void disconnectAll();
    /// Number of live connections held by this client.
    int getNumConnections() const;

private:
    friend class SignalBase;

    void link(SignalBase& signal, std::shared_ptr<detail::ConnectionBase> connection);
    /// Called by a dying signal: forget the link without touching the signal.
    void forget(detail::ConnectionBase* connection);

    std::vector<std::shared_ptr<detail::ConnectionBase>> m_connections;
};

/// A member function bound to its object: calling it with `arg` calls
/// `(object->*function)(arg)`. The object is not owned; it must outlive every
/// call, which holds when the object is (or owns) the SignalClient that
/// connected it.
template <class Obj, class Arg>
class FunctionArgMember
{
public:
    using Function = void (Obj::*)(Arg);

    FunctionArgMember(Obj* object, Function function) : m_object(object), m_function(function) {}

    void operator()(Arg arg) const { (m_object->*m_function)(std::forward<Arg>(arg)); }

private:
    Obj* m_object;
    Function m_function;
};

/// Builds a FunctionArgMember, deducing its types:
/// `client.connect(signal, makeFunctionArgMember(this, &Impl::onDestroyed))`.
template <class Obj, class Arg>
FunctionArgMember<Obj, Arg> makeFunctionArgMember(Obj* object, void (Obj::*function)(Arg))
{
    return FunctionArgMember<Obj, Arg>(object, function);
}

class Entity;

/// Base of the descriptions of a change to an Entity; carried by the entity's
/// modification signal. Subclasses (such as the mesh modification) say what
/// changed.
class EntityModification
{
public:
    /// `entity`: the changed entity (not owned; may be null).
    explicit EntityModification(const Entity* entity) : m_entity(entity) {}
    virtual ~EntityModification() = default;

    /// The entity that changed.
    const Entity* getEntity() const { return m_entity; }

private:
    const Entity* m_entity;
};

/// Base of objects that announce their modification and destruction (the
/// meshes). The signals are mutable members, so a listener can connect to a
/// const entity. Copying an entity copies none of its listeners: a copy starts
/// with empty signals, and assignment keeps the target's listeners.
class Entity
{
public:
    Entity() = default;
    Entity(const Entity&) {}
    Entity& operator=(const Entity&) { return *this; }
    /// Emits the destruction signal with `this` while the entity (as an
    /// Entity) still exists; derived parts are already destroyed by then.
    virtual ~Entity();

    /// Emitted once, from the destructor, with the dying entity.
    Signal<Entity*>& destructionSignal() const { return m_destructionSignal; }
    /// Emitted by emitModification with the description of a change.
    Signal<EntityModification&>& modificationSignal() const { return m_modificationSignal; }

    /// Announces `modification` to the listeners of the modification signal.
    void emitModification(EntityModification& modification) const
    {
        m_modificationSignal.emit(modification);
    }

private:
    mutable Signal<Entity*> m_destructionSignal;
    mutable Signal<EntityModification&> m_modificationSignal;
};
}  // namespace oxRTB
