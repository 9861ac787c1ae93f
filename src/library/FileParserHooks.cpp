#include "library/FileParserHooks.h"

#include <mutex>

namespace ombrel {
namespace {

struct Hooks {
    std::mutex lock;
    UsageEventSink usage;
    FilePanels panels;
    CompactTiffWriter tiffWriter;
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

void SetUsageEventSink(UsageEventSink sink) { Store(&Hooks::usage, std::move(sink)); }
UsageEventSink GetUsageEventSink() { return Load(&Hooks::usage); }

void SetCompactTiffWriter(CompactTiffWriter writer) { Store(&Hooks::tiffWriter, std::move(writer)); }
CompactTiffWriter GetCompactTiffWriter() { return Load(&Hooks::tiffWriter); }

void SetFilePanels(FilePanels panels) { Store(&Hooks::panels, std::move(panels)); }
FilePanels GetFilePanels() { return Load(&Hooks::panels); }

}  // namespace ombrel
