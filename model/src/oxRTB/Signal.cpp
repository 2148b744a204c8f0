// Connections between signals and clients. Each link is shared by both ends so
// that whichever end dies first can unhook itself from the other; removal
// during an emission only marks the link, and the list is compacted once the
// outermost emission has finished, which keeps iteration by index valid.

#include "oxRTB/Signal.h"

#include <algorithm>

namespace oxRTB
{
SignalBase::~SignalBase()
{
    if (m_destroyedFlag)
        *m_destroyedFlag = true;
    for (const ConnectionPtr& connection : m_connections)
    {
        if (!connection->connected)
            continue;
        connection->connected = false;
        connection->signal = nullptr;
        if (connection->client)
            connection->client->forget(connection.get());
    }
}

int SignalBase::getNumConnections() const
{
    return static_cast<int>(std::count_if(m_connections.begin(), m_connections.end(),
                                          [](const ConnectionPtr& c) { return c->connected; }));
}

void SignalBase::emitEach(const std::function<void(detail::ConnectionBase&)>& invoke)
{
    // The signal's own frame flag: a callback that destroys this signal sets it.
    bool destroyed = false;
    bool* const outerFlag = m_destroyedFlag;
    m_destroyedFlag = &destroyed;
    ++m_emitDepth;

    const std::size_t count = m_connections.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        // Holding a reference keeps the link (and the callback being run) alive
        // even if the callback disconnects it.
        ConnectionPtr connection = m_connections[i];
        if (!connection->connected)
            continue;
        invoke(*connection);
        if (destroyed)
            break;
    }

    if (destroyed)
    {
        // `this` is gone; pass the news to an enclosing emission of the same signal.
        if (outerFlag)
            *outerFlag = true;
        return;
    }
    m_destroyedFlag = outerFlag;
    if (--m_emitDepth == 0 && m_hasDeadConnections)
        removeDeadConnections();
}

void SignalBase::attach(ConnectionPtr connection)
{
    connection->signal = this;
    m_connections.push_back(std::move(connection));
}

void SignalBase::detach(detail::ConnectionBase* connection)
{
    connection->connected = false;
    connection->signal = nullptr;
    if (m_emitDepth > 0)
        m_hasDeadConnections = true;
    else
        removeDeadConnections();
}

void SignalBase::removeDeadConnections()
{
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [](const ConnectionPtr& c) { return !c->connected; }),
                        m_connections.end());
    m_hasDeadConnections = false;
}

SignalClient::~SignalClient()
{
    disconnectAll();
}

void SignalClient::link(SignalBase& signal, std::shared_ptr<detail::ConnectionBase> connection)
{
    connection->client = this;
    m_connections.push_back(connection);
    signal.attach(std::move(connection));
}

void SignalClient::disconnect(SignalBase& signal)
{
    // Take the matching links out of this client first, so that nothing a
    // signal does while detaching can see them half-removed.
    std::vector<std::shared_ptr<detail::ConnectionBase>> matching;
    auto keep = std::stable_partition(m_connections.begin(), m_connections.end(),
                                      [&signal](const std::shared_ptr<detail::ConnectionBase>& c)
                                      { return c->signal != &signal; });
    matching.assign(keep, m_connections.end());
    m_connections.erase(keep, m_connections.end());
    for (const auto& connection : matching)
    {
        connection->client = nullptr;
        signal.detach(connection.get());
    }
}

void SignalClient::disconnectAll()
{
    std::vector<std::shared_ptr<detail::ConnectionBase>> all;
    all.swap(m_connections);
    for (const auto& connection : all)
    {
        connection->client = nullptr;
        if (connection->signal)
            connection->signal->detach(connection.get());
    }
}

int SignalClient::getNumConnections() const
{
    return static_cast<int>(m_connections.size());
}

void SignalClient::forget(detail::ConnectionBase* connection)
{
    connection->client = nullptr;
    m_connections.erase(
        std::remove_if(m_connections.begin(), m_connections.end(),
                       [connection](const std::shared_ptr<detail::ConnectionBase>& c)
                       { return c.get() == connection; }),
        m_connections.end());
}

Entity::~Entity()
{
    m_destructionSignal.emit(this);
}
}  // namespace oxRTB
