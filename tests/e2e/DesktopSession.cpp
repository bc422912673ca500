#include "e2e/DesktopSession.h"

#include <csignal>
#include <cstdlib>
#include <utility>
#include <vector>

#include <poll.h>

#include <X11/SM/SMlib.h>

namespace tavolin {

struct DesktopSession::State
{
    int listenerCount = 0;
    IceListenObj *listeners = nullptr;
    std::vector<IceConn> connections;
    SmsConn member = nullptr;
    bool isWelcomed = false; // the round of saving that greets every program is over
    bool isLoggingOut = false;
    bool isCancelled = false;
    bool isOver = false;

    static void close(SmsConn program);
    /// Closes the connection of a program that has ended without a farewell.
    void lost(IceConn connection);

    static State &of(SmPointer data) { return *static_cast<State *>(data); }

    // What a program asks for, as the library tells it.
    static Status joined(SmsConn program, SmPointer data, unsigned long *mask,
                         SmsCallbacks *callbacks, char **reason);
    static Status registered(SmsConn program, SmPointer data, char *previousId);
    static void wantsToInteract(SmsConn program, SmPointer data, int dialogType);
    static void hasInteracted(SmsConn program, SmPointer data, Bool wantsToStay);
    static void hasSaved(SmsConn program, SmPointer data, Bool success);
    static void left(SmsConn program, SmPointer data, int count, char **reasons);
    static void setsProperties(SmsConn program, SmPointer data, int count, SmProp **properties);
    static void deletesProperties(SmsConn program, SmPointer data, int count, char **names);
    static void getsProperties(SmsConn program, SmPointer data);
    static void asksToSave(SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}
    static void asksForPhase2(SmsConn program, SmPointer) { SmsSaveYourselfPhase2(program); }
};

Status DesktopSession::State::joined(SmsConn program, SmPointer data, unsigned long *mask,
                                     SmsCallbacks *callbacks, char **)
{
    of(data).member = program;
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
            SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
            SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    callbacks->register_client = {registered, data};
    callbacks->interact_request = {wantsToInteract, data};
    callbacks->interact_done = {hasInteracted, data};
    callbacks->save_yourself_request = {asksToSave, data};
    callbacks->save_yourself_phase2_request = {asksForPhase2, data};
    callbacks->save_yourself_done = {hasSaved, data};
    callbacks->close_connection = {left, data};
    callbacks->set_properties = {setsProperties, data};
    callbacks->delete_properties = {deletesProperties, data};
    callbacks->get_properties = {getsProperties, data};
    return 1;
}

Status DesktopSession::State::registered(SmsConn program, SmPointer, char *previousId)
{
    char *id = previousId ? previousId : SmsGenerateClientID(program);
    SmsRegisterClientReply(program, id);
    std::free(id);
    if (!previousId)
        SmsSaveYourself(program, SmSaveLocal, False, SmInteractStyleNone, False);
    return 1;
}

void DesktopSession::State::wantsToInteract(SmsConn program, SmPointer, int)
{
    SmsInteract(program);
}

void DesktopSession::State::hasInteracted(SmsConn program, SmPointer data, Bool wantsToStay)
{
    if (!wantsToStay)
        return;
    of(data).isCancelled = true;
    SmsShutdownCancelled(program);
}

void DesktopSession::State::hasSaved(SmsConn program, SmPointer data, Bool)
{
    State &state = of(data);
    if (!state.isLoggingOut) {
        state.isWelcomed = true;
        SmsSaveComplete(program);
    } else if (!state.isCancelled) {
        state.isOver = true;
        SmsDie(program);
    }
}

void DesktopSession::State::left(SmsConn program, SmPointer data, int count, char **reasons)
{
    of(data).member = nullptr;
    SmFreeReasons(count, reasons);
    close(program);
}

void DesktopSession::State::close(SmsConn program)
{
    const IceConn connection = SmsGetIceConnection(program);
    SmsCleanUp(program);
    IceSetShutdownNegotiation(connection, False);
    IceCloseConnection(connection);
}

void DesktopSession::State::lost(IceConn connection)
{
    if (member && SmsGetIceConnection(member) == connection)
        close(std::exchange(member, nullptr));
    else
        IceCloseConnection(connection);
}

void DesktopSession::State::setsProperties(SmsConn, SmPointer, int count, SmProp **properties)
{
    for (int i = 0; i < count; ++i)
        SmFreeProperty(properties[i]);
    std::free(properties);
}

void DesktopSession::State::deletesProperties(SmsConn, SmPointer, int count, char **names)
{
    for (int i = 0; i < count; ++i)
        std::free(names[i]);
    std::free(names);
}

void DesktopSession::State::getsProperties(SmsConn program, SmPointer)
{
    SmsReturnProperties(program, 0, nullptr);
}

DesktopSession::DesktopSession() : m_state(std::make_unique<State>())
{
    char error[256];
    // The library can't be told twice, and remembers what it was told first.
    static State *current = nullptr;
    static const bool isReady =
        SmsInitialize(
            "tavolin-test", "1",
            [](SmsConn program, SmPointer, unsigned long *mask, SmsCallbacks *callbacks,
               char **reason) { return State::joined(program, current, mask, callbacks, reason); },
            nullptr, [](char *) -> Bool { return True; }, sizeof error, error) != 0;
    current = m_state.get();
    std::signal(SIGPIPE, SIG_IGN);        // a program may have ended before it is told to
    IceSetIOErrorHandler([](IceConn) {}); // the library's own would end this process
    if (!isReady ||
        !IceListenForConnections(&m_state->listenerCount, &m_state->listeners, sizeof error, error))
        return;
    for (int i = 0; i < m_state->listenerCount; ++i)
        IceSetHostBasedAuthProc(m_state->listeners[i], [](char *) -> Bool { return True; });
}

DesktopSession::~DesktopSession()
{
    if (m_state->member)
        State::close(m_state->member);
    if (m_state->listeners)
        IceFreeListenObjs(m_state->listenerCount, m_state->listeners);
}

QByteArray DesktopSession::address() const
{
    if (!m_state->listeners)
        return {};
    char *list = IceComposeNetworkIdList(m_state->listenerCount, m_state->listeners);
    QByteArray result(list);
    std::free(list);
    return result;
}

void DesktopSession::serve()
{
    const auto isReadable = [](int fd) {
        pollfd entry{fd, POLLIN, 0};
        return poll(&entry, 1, 0) > 0;
    };
    for (int i = 0; i < m_state->listenerCount; ++i) {
        if (!isReadable(IceGetListenConnectionNumber(m_state->listeners[i])))
            continue;
        IceAcceptStatus status = IceAcceptFailure;
        if (IceConn connection = IceAcceptConnection(m_state->listeners[i], &status))
            m_state->connections.push_back(connection);
    }
    std::erase_if(m_state->connections, [&](IceConn connection) {
        while (isReadable(IceConnectionNumber(connection))) {
            const auto status = IceProcessMessages(connection, nullptr, nullptr);
            if (status == IceProcessMessagesSuccess)
                continue;
            if (status == IceProcessMessagesIOError)
                m_state->lost(connection);
            return true;
        }
        return false;
    });
}

bool DesktopSession::hasMember() const
{
    return m_state->member && m_state->isWelcomed;
}

void DesktopSession::logOut()
{
    m_state->isLoggingOut = true;
    m_state->isCancelled = false;
    SmsSaveYourself(m_state->member, SmSaveBoth, True, SmInteractStyleAny, False);
}

bool DesktopSession::isCancelled() const
{
    return m_state->isCancelled;
}

bool DesktopSession::isOver() const
{
    return m_state->isOver;
}

} // namespace tavolin
