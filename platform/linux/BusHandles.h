#pragma once

#include <memory>

#include <systemd/sd-bus.h>

namespace glintro {

struct BusDeleter {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using BusHandle = std::unique_ptr<sd_bus, BusDeleter>;
using BusMessage = std::unique_ptr<sd_bus_message, BusDeleter>;
using BusSlot = std::unique_ptr<sd_bus_slot, BusDeleter>;

} // namespace glintro
