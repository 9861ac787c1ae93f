#pragma once

namespace ombrel::cli {

// SIGINT and SIGTERM raise a flag that the long commands poll between steps; the handlers
// that were there before come back when the guard goes.
class SignalGuard {
public:
    SignalGuard();
    ~SignalGuard();
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

    static bool Interrupted();

private:
    void (*previousInt_)(int);
    void (*previousTerm_)(int);
};

}  // namespace ombrel::cli
