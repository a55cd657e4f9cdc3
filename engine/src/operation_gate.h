// One operation at a time on an engine object, stoppable from any thread.
//
// An operation holds the gate from its start to its end. A caller that finds it held waits
// until the running operation has ended (callers go through one by one, in no promised
// order). A call from inside the running operation on its own thread (an event handler that
// starts another operation) would wait for itself: it is refused instead.
//
// Abort stops the operation that is running when it is called, and only that one: it is aimed
// at the operation's number, so an abort that arrives just as one operation ends and the next
// begins never stops the next; with no operation running it does nothing.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>

namespace orrelux::engine {

class OperationGate {
public:
    class Pass {
    public:
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        ~Pass() { gate_.Leave(); }

        std::uint64_t Number() const { return number_; }
        // True once Abort has been called for this operation.
        bool AbortRequested() const { return gate_.abortTarget_.load() == number_; }

    private:
        friend class OperationGate;
        Pass(OperationGate& gate, std::uint64_t number) : gate_(gate), number_(number) {}

        OperationGate& gate_;
        std::uint64_t number_;
    };

    // Re-entry from the running operation's own thread.
    bool IsHeldByThisThread() const { return owner_.load() == std::this_thread::get_id(); }

    // Waits for the gate and runs `body(pass)` holding it. The caller checks
    // IsHeldByThisThread first.
    template <typename Body> auto Run(Body&& body) {
        std::lock_guard<std::mutex> held(lock_);
        owner_.store(std::this_thread::get_id());
        const Pass pass(*this, ++lastNumber_);
        running_.store(pass.Number());
        return body(pass);
    }

    bool IsBusy() const { return running_.load() != 0; }

    void Abort() {
        const std::uint64_t running = running_.load();
        if (running != 0)
            abortTarget_.store(running);
    }

private:
    void Leave() {
        running_.store(0);
        owner_.store(std::thread::id());
    }

    std::mutex lock_;
    std::uint64_t lastNumber_ = 0; // guarded by lock_; 2^64 operations never wrap
    std::atomic<std::uint64_t> running_{0};
    std::atomic<std::uint64_t> abortTarget_{0};
    std::atomic<std::thread::id> owner_{};
};

} // namespace orrelux::engine
