// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QMutex>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <vector>

/**
 * The pool of exam image uploads: each task is a piece of work run on a plain thread of its own,
 * at most MaxRunningTasks at a time, the others waiting in the order they were added.
 *
 * Thread-safe. A task that ends starts the next waiting ones. Deleting a running task forgets it
 * at once (its thread is listed as finished and joined later); the work itself must be told to stop
 * by its owner. The destructor waits for every thread; tell running work to stop first.
 */
class ExamImageUplaodTasks
{
public:
    static constexpr int MaxRunningTasks = 3;

    ExamImageUplaodTasks();
    ~ExamImageUplaodTasks();
    ExamImageUplaodTasks(const ExamImageUplaodTasks &) = delete;
    ExamImageUplaodTasks &operator=(const ExamImageUplaodTasks &) = delete;

    /// Queues work under id; a task of the same id (waiting or running) is deleted first. Call
    /// checkTasks() to start it.
    void addTask(int id, std::function<void()> work);
    void deleteTask(int id);
    /// Starts waiting tasks, in order, until MaxRunningTasks run.
    void checkTasks();
    /// Tasks waiting or running.
    int taskCount() const;
    int runningCount() const;
    bool hasTask(int id) const;
    bool isRunning(int id) const;
    /// Ids waiting or running, in the order they were added.
    QList<int> taskIds() const;

    void addWasteThread(std::thread::id id);
    /// Threads whose task ended or was deleted, not yet joined.
    std::vector<std::thread::id> wasteThreads() const;

    /// Refuses new work and starts no more threads (before destruction).
    void stop();

private:
    struct Task;
    void runTask(const std::shared_ptr<Task> &task);
    void taskEnded(const std::shared_ptr<Task> &task);
    /// Joins finished threads other than the calling one.
    void joinWaste();

    mutable QMutex m_mutex; // m_waiting, m_tasks, m_running, m_threads, m_ended
    QList<int> m_waiting;   // waiting and running ids, in order
    std::map<int, std::shared_ptr<Task>> m_tasks;
    std::map<int, std::shared_ptr<Task>> m_running;
    std::map<std::thread::id, std::thread> m_threads;
    std::set<std::thread::id> m_ended; // threads whose work has returned
    const int m_maxRunning = MaxRunningTasks;

    mutable QMutex m_wasteMutex; // m_waste
    std::vector<std::thread::id> m_waste;
    std::atomic_bool m_stopped{false};
};
