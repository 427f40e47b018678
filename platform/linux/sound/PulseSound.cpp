#include "platform/linux/sound/PulseSound.h"

#include <algorithm>
#include <utility>

#include "platform/linux/sound/PulseConnection.h"
#include "platform/linux/sound/PulseMicrophone.h"
#include "platform/linux/sound/PulseOutput.h"

namespace glintro {
namespace {

void addSource(pa_context*, const pa_source_info* source, int isEnd, void* list) {
    if (isEnd != 0 || source == nullptr) return;
    const char* name = source->description != nullptr ? source->description : source->name;
    static_cast<std::vector<PulseSource>*>(list)->push_back(
        {{source->name, name}, source->monitor_of_sink != PA_INVALID_INDEX, source->channel_map});
}

void readDefault(pa_context*, const pa_server_info* server, void* name) {
    if (server == nullptr || server->default_source_name == nullptr) return;
    *static_cast<std::string*>(name) = server->default_source_name;
}

// The default microphone first. A server without a microphone calls a monitor its default source, which is
// none for us: the first microphone is the default then.
void markDefault(std::vector<PulseSource>& sources, const std::string& id) {
    auto chosen = std::ranges::find_if(
        sources, [&](const PulseSource& source) { return !source.isMonitor && source.device.id == id; });
    if (chosen == sources.end()) chosen = std::ranges::find(sources, false, &PulseSource::isMonitor);
    if (chosen == sources.end()) return;
    chosen->device.isDefault = true;
    std::rotate(sources.begin(), chosen, chosen + 1);
}

Result<std::vector<PulseSource>> readSources() {
    auto connection = PulseConnection::open();
    if (!connection) return std::unexpected(connection.error());
    std::vector<PulseSource> sources;
    std::string defaultSource;
    const PulseConnection::Lock lock(**connection);
    pa_context* context = (*connection)->context();
    if (!(*connection)->await(pa_context_get_server_info(context, readDefault, &defaultSource))
        || !(*connection)->await(pa_context_get_source_info_list(context, addSource, &sources))) {
        const int error = pa_context_errno(context);
        return failure("The sound server doesn’t tell which microphones there are; restart it and try again.",
                       pa_strerror(error), error);
    }
    markDefault(sources, defaultSource);
    return sources;
}

bool isCalled(const PulseSource& source, const std::string& device) {
    return source.device.id == device || (!source.isMonitor && source.device.name == device);
}

class PulseSound final : public SoundSystem {
  public:
    Result<std::vector<SoundDevice>> microphones() override {
        auto sources = readSources();
        if (!sources) return std::unexpected(sources.error());
        std::vector<SoundDevice> devices;
        for (PulseSource& source : *sources) {
            if (!source.isMonitor) devices.push_back(std::move(source.device));
        }
        return devices;
    }

    Result<std::unique_ptr<Microphone>> openMicrophone(std::optional<std::string> device) override {
        auto sources = readSources();
        if (!sources) return std::unexpected(sources.error());
        const auto chosen = std::ranges::find_if(*sources, [&](const PulseSource& source) {
            return device ? isCalled(source, *device) : source.device.isDefault;
        });
        if (chosen != sources->end()) return std::make_unique<PulseMicrophone>(std::move(*chosen));
        if (!device) return failure("There is no microphone; connect one and try again.");
        return failure("There is no microphone “" + *device + "”; connect it or choose another one.");
    }

    Result<std::unique_ptr<SoundOutput>> openOutput(int channels) override {
        return std::make_unique<PulseOutput>(channels);
    }
};

} // namespace

std::unique_ptr<SoundSystem> createPulseSound() {
    return std::make_unique<PulseSound>();
}

} // namespace glintro
