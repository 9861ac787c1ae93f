#include "library/FileParserHooks.h"

#include <mutex>

namespace ombrel {
namespace {

struct Hooks {
    std::mutex lock;
    R3DClipOpener r3dOpener;
    MovieFactsSource movieFacts;
    UsageEventSink usage;
    FilePanels panels;
};

Hooks& TheHooks() {
    static Hooks hooks;
    return hooks;
}

template <typename T>
void Store(T Hooks::*field, T value) {
    Hooks& h = TheHooks();
    std::lock_guard<std::mutex> guard(h.lock);
    h.*field = std::move(value);
}

template <typename T>
T Load(T Hooks::*field) {
    Hooks& h = TheHooks();
    std::lock_guard<std::mutex> guard(h.lock);
    return h.*field;
}

}  // namespace

void SetR3DClipOpener(R3DClipOpener opener) { Store(&Hooks::r3dOpener, std::move(opener)); }
R3DClipOpener GetR3DClipOpener() { return Load(&Hooks::r3dOpener); }

void SetMovieFactsSource(MovieFactsSource source) { Store(&Hooks::movieFacts, std::move(source)); }
MovieFactsSource GetMovieFactsSource() { return Load(&Hooks::movieFacts); }

void SetUsageEventSink(UsageEventSink sink) { Store(&Hooks::usage, std::move(sink)); }
UsageEventSink GetUsageEventSink() { return Load(&Hooks::usage); }

void SetFilePanels(FilePanels panels) { Store(&Hooks::panels, std::move(panels)); }
FilePanels GetFilePanels() { return Load(&Hooks::panels); }

}  // namespace ombrel
