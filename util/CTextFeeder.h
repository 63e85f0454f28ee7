// The loop that hands received text to the host: every 50 ms one call of the control manager's GetTextAndDisplay.
#ifndef UTIL_CTEXT_FEEDER_H
#define UTIL_CTEXT_FEEDER_H

#include "util/RunFlag.h"
#include "util/TextThread.h"

class CTextControlManager;

// Start and Stop belong to the owner's thread, the control manager's.
class CTextFeeder {
public:
    CTextFeeder();
    virtual ~CTextFeeder();
    CTextFeeder(const CTextFeeder&) = delete;
    CTextFeeder& operator=(const CTextFeeder&) = delete;

    void RegisterControlManager(CTextControlManager* manager) { m_pControlManager = manager; }

    // Starts the thread. 0, or what TextThread::Start failed with.
    int Start();

    // Ends the thread, which first finishes the host's event 1 if that is running. 0, or -1 when not started.
    int Stop();

    // One delivery, on the calling thread.
    void GetData();

private:
    friend class CTextFeederRunnable;

    CTextControlManager* m_pControlManager = nullptr;
    TextThread* m_pThread;
    RunFlag m_bRunning;
};

class CTextFeederRunnable : public TRunnable {
public:
    explicit CTextFeederRunnable(CTextFeeder* feeder) : m_pFeeder(feeder) {}
    void Run() override;

private:
    CTextFeeder* m_pFeeder;
};

#endif
