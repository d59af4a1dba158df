#pragma once

#include "Logic/MainLoop.h"

#include <memory>

namespace zeph {

// Work that must run off the main thread but in order, one piece at a time: the saves of the
// documents, so that a later value never lands before an earlier one.
class SerialQueue {
public:
    explicit SerialQueue(MainLoop& loop);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void add(MainLoop::Task work);
    // Runs whatever is waiting on the calling thread, after the piece under way: at termination,
    // before the process goes.
    void finish();

private:
    struct State;
    MainLoop& m_loop;
    std::shared_ptr<State> m_state;
};

} // namespace zeph
