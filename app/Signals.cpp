#include "Signals.h"

#include <atomic>
#include <csignal>

namespace ombrel::cli {
namespace {

std::atomic<bool> gInterrupted{false};

void OnSignal(int) { gInterrupted = true; }

}  // namespace

SignalGuard::SignalGuard() {
    gInterrupted = false;
    previousInt_ = std::signal(SIGINT, OnSignal);
    previousTerm_ = std::signal(SIGTERM, OnSignal);
}

SignalGuard::~SignalGuard() {
    std::signal(SIGINT, previousInt_);
    std::signal(SIGTERM, previousTerm_);
}

bool SignalGuard::Interrupted() { return gInterrupted; }

}  // namespace ombrel::cli
