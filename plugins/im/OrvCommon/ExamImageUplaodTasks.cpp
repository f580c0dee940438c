// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamImageUplaodTasks.h"
#include "examupload_logging.h"

#include <algorithm>

struct ExamImageUplaodTasks::Task
{
    int id = 0;
    std::function<void()> work;
    std::thread::id threadId; // set under the pool's lock before the thread can report its end
};

ExamImageUplaodTasks::ExamImageUplaodTasks() = default;

ExamImageUplaodTasks::~ExamImageUplaodTasks()
{
    stop();
    std::map<std::thread::id, std::thread> threads;
    {
        QMutexLocker lock(&m_mutex);
        threads.swap(m_threads);
        m_running.clear();
        m_tasks.clear();
        m_waiting.clear();
    }
    for (auto &entry : threads) {
        if (entry.second.joinable())
            entry.second.join();
    }
}

void ExamImageUplaodTasks::stop()
{
    m_stopped = true;
}

void ExamImageUplaodTasks::addTask(int id, std::function<void()> work)
{
    if (m_stopped) {
        qCWarning(lcExamUpload) << "upload task" << id << "refused: the pool is stopping";
        return;
    }
    deleteTask(id);
    auto task = std::make_shared<Task>();
    task->id = id;
    task->work = std::move(work);
    QMutexLocker lock(&m_mutex);
    m_waiting.append(id);
    m_tasks[id] = task;
}

void ExamImageUplaodTasks::deleteTask(int id)
{
    QMutexLocker lock(&m_mutex);
    m_waiting.removeAll(id);
    m_tasks.erase(id);
    const auto running = m_running.find(id);
    if (running == m_running.end())
        return;
    // Its thread ends on its own once its owner stops the work; it is joined after that.
    addWasteThread(running->second->threadId);
    m_running.erase(running);
}

void ExamImageUplaodTasks::checkTasks()
{
    joinWaste();
    QMutexLocker lock(&m_mutex);
    if (m_stopped)
        return;
    for (const int id : qAsConst(m_waiting)) {
        if (int(m_running.size()) >= m_maxRunning)
            break;
        if (m_running.count(id))
            continue;
        const std::shared_ptr<Task> task = m_tasks.at(id);
        m_running[id] = task;
        // The new thread waits for the lock to report its end, so it is recorded before that.
        std::thread thread([this, task] { runTask(task); });
        task->threadId = thread.get_id();
        m_threads.emplace(task->threadId, std::move(thread));
    }
}

void ExamImageUplaodTasks::runTask(const std::shared_ptr<Task> &task)
{
    task->work();
    taskEnded(task);
}

void ExamImageUplaodTasks::taskEnded(const std::shared_ptr<Task> &task)
{
    {
        QMutexLocker lock(&m_mutex);
        const auto running = m_running.find(task->id);
        // A task deleted (and perhaps added anew) meanwhile is no longer this one.
        if (running != m_running.end() && running->second == task) {
            m_running.erase(running);
            m_waiting.removeAll(task->id);
            const auto entry = m_tasks.find(task->id);
            if (entry != m_tasks.end() && entry->second == task)
                m_tasks.erase(entry);
        }
        m_ended.insert(std::this_thread::get_id());
    }
    addWasteThread(std::this_thread::get_id());
    checkTasks();
}

void ExamImageUplaodTasks::addWasteThread(std::thread::id id)
{
    QMutexLocker lock(&m_wasteMutex);
    if (std::find(m_waste.begin(), m_waste.end(), id) == m_waste.end())
        m_waste.push_back(id);
}

std::vector<std::thread::id> ExamImageUplaodTasks::wasteThreads() const
{
    QMutexLocker lock(&m_wasteMutex);
    return m_waste;
}

void ExamImageUplaodTasks::joinWaste()
{
    const std::thread::id self = std::this_thread::get_id();
    std::vector<std::thread> done;
    {
        QMutexLocker lock(&m_mutex);
        // Only a thread outside the pool joins: two workers ending together would otherwise
        // each join the other, and neither would start the next task.
        if (m_threads.count(self))
            return;
        QMutexLocker wasteLock(&m_wasteMutex);
        // Only threads whose work has returned: a deleted task may still be stopping.
        for (auto it = m_waste.begin(); it != m_waste.end();) {
            if (*it != self && m_ended.count(*it)) {
                const auto thread = m_threads.find(*it);
                if (thread != m_threads.end()) {
                    done.push_back(std::move(thread->second));
                    m_threads.erase(thread);
                }
                m_ended.erase(*it);
                it = m_waste.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (std::thread &thread : done)
        thread.join();
}

int ExamImageUplaodTasks::taskCount() const
{
    QMutexLocker lock(&m_mutex);
    return m_waiting.size();
}

int ExamImageUplaodTasks::runningCount() const
{
    QMutexLocker lock(&m_mutex);
    return int(m_running.size());
}

bool ExamImageUplaodTasks::hasTask(int id) const
{
    QMutexLocker lock(&m_mutex);
    return m_waiting.contains(id);
}

bool ExamImageUplaodTasks::isRunning(int id) const
{
    QMutexLocker lock(&m_mutex);
    return m_running.count(id) > 0;
}

QList<int> ExamImageUplaodTasks::taskIds() const
{
    QMutexLocker lock(&m_mutex);
    return m_waiting;
}
