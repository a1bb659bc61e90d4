#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace vantor {

// The one background thread on which a queued job's file and engine work runs. It takes one
// task at a time; the destructor waits for the current task and joins the thread.
class JobWorker {
public:
    JobWorker();
    ~JobWorker();
    JobWorker(const JobWorker &) = delete;
    JobWorker &operator=(const JobWorker &) = delete;

    void run(std::function<void()> task); // the previous task must have finished
    void waitUntilIdle();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void()> m_task;
    bool m_busy = false;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace vantor
