#include "platform/linux/pipewire/PipeWireNodes.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace glintro {
namespace {

constexpr std::chrono::seconds kTimeout{2};

struct Search {
    std::string mediaClass;
    std::vector<PipeWireNode> found;
    std::mutex mutex;
    std::condition_variable changed;
    bool isComplete = false;
};

std::string property(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value ? value : "";
}

void consider(Search& search, std::uint32_t id, const spa_dict& properties) {
    if (property(properties, PW_KEY_MEDIA_CLASS) != search.mediaClass) return;
    PipeWireNode node{id, property(properties, PW_KEY_NODE_NAME),
                      property(properties, PW_KEY_NODE_DESCRIPTION), property(properties, PW_KEY_DEVICE_API)};
    if (node.description.empty()) node.description = node.name;
    search.found.push_back(std::move(node));
}

pw_registry_events searchEvents() {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = [](void* search, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) {
        if (!properties || std::strcmp(type, PW_TYPE_INTERFACE_Node) != 0) return;
        consider(*static_cast<Search*>(search), id, *properties);
    };
    return events;
}

} // namespace

std::vector<PipeWireNode> nodesOfClass(PipeWireConnection& connection, const std::string& mediaClass) {
    static const pw_registry_events events = searchEvents();
    Search search;
    search.mediaClass = mediaClass;
    std::unique_lock pipewire(connection);
    PipeWireRegistry registry(pw_core_get_registry(connection.core(), PW_VERSION_REGISTRY, 0));
    PipeWireHook hook;
    pw_registry_add_listener(registry.get(), &hook, &events, &search);
    connection.afterRoundTrip([&search] {
        const std::scoped_lock lock(search.mutex);
        search.isComplete = true;
        search.changed.notify_all();
    });
    pipewire.unlock();
    {
        std::unique_lock lock(search.mutex);
        search.changed.wait_for(lock, kTimeout, [&search] { return search.isComplete; });
    }
    pipewire.lock(); // the listener goes while it cannot be called
    connection.afterRoundTrip(nullptr);
    return std::move(search.found);
}

} // namespace glintro
