// Client drives added and removed, and the withdrawal of everything at clean-up.
#include "app/clientwrapper.h"

#include <memory>

#include <utility>

#include "app/credentials.h"
#include "foundation/database/zrdatabase.h"
#include "framework/platform/currentprocess.h"
#include "net/zrostream.h"
#include "rpc/zrsmbnfsclient.h"

namespace {

// The first occupied slot holding a record equal to `record`, or the end index.
uint32_t FindDevice(const ClientWrapper::DeviceTable& devices, const ClientWrapper::DeviceRecord& record) {
    for (uint32_t i = 0; i < devices.EndIndex(); ++i)
        if (devices.IsOccupied(i) && *devices[i] == record)
            return i;
    return devices.EndIndex();
}

// Drives of one client usually repeat its host, user name and password: a new record takes the
// storage of equal strings already held, so each distinct text is kept once (copies share storage).
void ShareEqualStrings(const ClientWrapper::DeviceTable& devices, ClientWrapper::DeviceRecord& record) {
    bool host = false, user = false, password = false;
    for (uint32_t i = 0; i < devices.EndIndex() && !(host && user && password); ++i) {
        if (!devices.IsOccupied(i))
            continue;
        const ClientWrapper::DeviceRecord& other = *devices[i];
        if (!host && other.host == record.host) {
            record.host = other.host;
            host = true;
        }
        if (!user && other.encodedUser == record.encodedUser) {
            record.encodedUser = other.encodedUser;
            user = true;
        }
        if (!password && other.encodedPassword == record.encodedPassword) {
            record.encodedPassword = other.encodedPassword;
            password = true;
        }
    }
}

} // namespace

void ClientWrapper::OnAddDevice(ZrUniString host, ZrUniString share, ZrUniString encodedUser,
                                ZrUniString encodedPassword) {
    DeviceRecord record{host.Lower(), share, encodedUser, encodedPassword};
    if (FindDevice(m_devices, record) != m_devices.EndIndex())
        return; // a repeated announcement changes nothing
    uint32_t before = m_devices.Count();
    ShareEqualStrings(m_devices, record);
    const ZrUniString lowerHost = record.host;
    const uint32_t slot = m_devices.InsertNonConst(std::make_unique<DeviceRecord>(std::move(record)));

    ZrUniString user = credentials::DecodeUsername(encodedUser);
    ZrUniString password = credentials::DecodePassword(encodedPassword, UserName());
    ZrDatabase db;
    if (before == 0)
        AddHostConfig(db, lowerHost, user, password);
    AddShareConfig(db, lowerHost, share, user, password);
    if (!SendSetConfig(db.ToString(-1))) {
        // Not configured, so not recorded: announcing the drive again tries again.
        (void)m_devices.RemoveAt(slot); // the slot was just filled
        return;
    }
    if (before == 0)
        CreateSymlink(lowerHost);
}

void ClientWrapper::OnRemoveDevice(ZrUniString host, ZrUniString share, ZrUniString encodedUser,
                                   ZrUniString encodedPassword) {
    DeviceRecord record{host.Lower(), share, encodedUser, encodedPassword};
    uint32_t slot = FindDevice(m_devices, record);
    if (slot == m_devices.EndIndex())
        return;
    const uint32_t remaining = m_devices.Count() - 1;

    ZrDatabase db;
    AddShareConfig(db, record.host, record.share, ZrUniString(), ZrUniString());
    if (remaining == 0)
        AddHostConfig(db, record.host, ZrUniString(), ZrUniString());
    // A withdrawal that failed stays recorded, so that the clean-up withdraws the drive again.
    if (!SendSetConfig(db.ToString(-1)))
        return;
    (void)m_devices.RemoveAt(slot); // the slot was just found occupied
    if (remaining == 0) {
        SendFlushSession(record.host);
        DeleteSymlink();
    }
}

void ClientWrapper::AddHostConfig(ZrDatabase& db, const ZrUniString& host, const ZrUniString& user,
                                  const ZrUniString& password) {
    ZrUniString base =
        ZrUniString(NFSSERVER_SHARES_SMB_KEY) + UserName() + ZrUniString("/") + host + ZrUniString("/");
    db.AppendValue(base + ZrUniString("winname"), user);
    db.AppendValue(base + ZrUniString("password"), password);
}

// A share's entries sit under its host's, named the same way.
void ClientWrapper::AddShareConfig(ZrDatabase& db, const ZrUniString& host, const ZrUniString& share,
                                   const ZrUniString& user, const ZrUniString& password) {
    AddHostConfig(db, host + ZrUniString("/") + share, user, password);
}

bool ClientWrapper::SendSetConfig(const ZrUniString& configText) {
    if (!m_pClient)
        return true;
    const ZrUniString& user = UserName();
    ZrUniString reply = m_pClient->SetConfig(user, configText);
    if (reply.Length() == 0) {
        m_out << "Successfully set configuration for " << user << "\nUser directory created at "
              << m_serverConfig.mountPoint << "/" << user << "\n";
    } else if (reply[0] == u'S') {
        m_out << reply; // a success message of the server's own
    } else {
        ReportBadReturn(reply);
        return false;
    }
    m_out.Flush();
    return true;
}

ZrUniString ClientWrapper::SendFlushSession(const ZrUniString& host) {
    if (!m_pClient)
        return ZrUniString();
    const ZrUniString& user = UserName();
    ZrUniString reply = m_pClient->FlushSession(user, host);
    if (reply.Length() == 0) {
        m_out << "Successfully disconnected " << user << "/" << host << "\n";
        m_out.Flush();
    } else {
        ReportHeldPort();
    }
    return reply;
}

bool ClientWrapper::CleanUp() {
    ZrDatabase db;
    bool first = true;
    for (uint32_t i = 0; i < m_devices.EndIndex(); ++i) {
        if (!m_devices.IsOccupied(i))
            continue;
        const DeviceRecord& record = *m_devices[i];
        AddShareConfig(db, record.host, record.share, ZrUniString(), ZrUniString());
        // Host entries are withdrawn for the first record only.
        if (first)
            AddHostConfig(db, record.host, ZrUniString(), ZrUniString());
        first = false;
    }
    // Every step runs whatever the one before it met; each failure has its line.
    bool clean = SendSetConfig(db.ToString(-1));
    if (m_pClient) {
        const ZrUniString reply = m_pClient->UnregisterUser(UserName());
        if (reply.Length()) {
            ReportBadReturn(reply);
            clean = false;
        }
    }
    clean = DeleteSymlink() && clean;
    const ZrUniString flushed = SendFlushSession(ZrUniString("*"));
    if (flushed.Length()) {
        // A held port has had its line already.
        if (m_pClient->Status() != ZrRPCClientErrors::ERRPortHeld)
            ReportBadReturn(flushed);
        clean = false;
    }
    return clean;
}

int ClientWrapper::EndSession(int cause) {
    // A signal from here on ends the process at once; one that came before names the ending.
    const int32_t signalled = platform::CurrentProcess::EndOnSignal();
    int status = signalled ? signalled : cause;
    if (!m_ended) {
        m_ended = true;
        if (!CleanUp())
            status = kExitCommandRefused; // this session left configuration behind
    }
    m_out.Flush();
    m_err.Flush();
    return status;
}
