// The one readiness watcher: a thread that waits with select on every registered socket and reports each readable one
// to the control manager. It reads no datagram itself.
#ifndef NET_NETWORK_RECV_H
#define NET_NETWORK_RECV_H

#include "net/CTextSocketInfo.h"
#include "util/RunFlag.h"
#include "util/TextThread.h"
#include "util/VRNMutex.h"

#include <atomic>
#include <map>
#include <sys/select.h>

class CTextControlManager;

// RegisterSocket and UnRegisterSocket are thread-safe; Start, Stop and the destructor belong to the owner's thread.
// Holds its lock while it reports; what it reports to takes the control manager's and the queue's locks only.
class NetworkRecv {
public:
    NetworkRecv();
    virtual ~NetworkRecv();
    NetworkRecv(const NetworkRecv&) = delete;
    NetworkRecv& operator=(const NetworkRecv&) = delete;

    void SetControlManagerHandle(CTextControlManager* manager) { m_pControlManager = manager; }

    // Starts the thread. 0, or what TextThread::Start failed with.
    int Start();

    // Ends the thread, wherever it waits. 0, or -1 when not started. No report comes after it returns.
    int Stop();

    // Watches a socket from now on; `info` is the caller's and lives until UnRegisterSocket. A descriptor already
    // registered keeps its first record. 1, or -1 for a descriptor that select cannot take (0 to FD_SETSIZE - 1).
    int RegisterSocket(int fd, CTextSocketInfo* info);

    // Watches the socket no more. An unknown descriptor changes nothing.
    void UnRegisterSocket(int fd);

    // Before a socket that was unregistered is closed: returns once the thread has left the select that may still hold
    // it, since until then its port stays bound.
    void LeaveSelect();

    // Rebuilds the read set; returns the highest registered descriptor, 0 when there is none.
    int SetReadFDSet();

private:
    friend class NetworkRecvRunnable;

    int WaitForReadable();
    void ReportReadable();
    void Wake();
    void DrainWake();
    void BeginWait();
    void EndWait();
    static bool FitsReadSet(int fd) { return fd >= 0 && fd < FD_SETSIZE; }

    std::map<int, CTextSocketInfo*> m_Sockets VRN_GUARDED_BY(m_Mutex);
    TextThread* m_pThread;
    fd_set m_ReadFds{}; // the thread's own
    std::atomic<CTextControlManager*> m_pControlManager{nullptr};
    bool m_bBlockThread VRN_GUARDED_BY(m_Mutex) = true;
    RunFlag m_bRunning;
    bool m_bWaiting VRN_GUARDED_BY(m_Mutex) = false; // the thread is between building its read set and leaving select
    unsigned m_nRound VRN_GUARDED_BY(m_Mutex) = 0;   // counts those waits
    VRNMutex m_Mutex;
    VRNCondition m_Cond;      // a socket was registered, or the thread is to end
    VRNCondition m_RoundDone; // the thread left select
    const int m_nWakeFd;      // an eventfd in the read set, outside the socket map; ends a select
};

class NetworkRecvRunnable : public TRunnable {
public:
    explicit NetworkRecvRunnable(NetworkRecv* receiver) : m_pReceiver(receiver) {}
    void Run() override;

private:
    NetworkRecv* m_pReceiver;
};

#endif
