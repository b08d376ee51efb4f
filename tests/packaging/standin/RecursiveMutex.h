#pragma once

namespace Kalt::Vemo::Platform::Thread {

class RecursiveMutex {
public:
    RecursiveMutex();
    ~RecursiveMutex();
    void lock();
    void unlock();

private:
    RecursiveMutex(const RecursiveMutex&);
    RecursiveMutex& operator=(const RecursiveMutex&);

    struct State;
    State* state_;
};

}  // namespace Kalt::Vemo::Platform::Thread
