// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The names on the bus, which the helper and those who ask it share; and sd-bus's references
// with an owner.

#pragma once

#include <memory>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

inline constexpr char helperName[] = "org.vantrelos.pakmart";
inline constexpr char helperPath[] = "/org/vantrelos/pakmart";
inline constexpr char helperInterface[] = "org.vantrelos.pakmart.Helper";

inline constexpr char errorInvalid[] = "org.vantrelos.pakmart.Error.Invalid";
inline constexpr char errorBusy[] = "org.vantrelos.pakmart.Error.Busy";
inline constexpr char errorDeclined[] = "org.vantrelos.pakmart.Error.Declined";
inline constexpr char errorFailed[] = "org.vantrelos.pakmart.Error.Failed";

template <auto release> struct Releases {
    template <typename Object> void operator()(Object* object) const { release(object); }
};

using Bus = std::unique_ptr<sd_bus, Releases<sd_bus_flush_close_unref>>;
using Message = std::unique_ptr<sd_bus_message, Releases<sd_bus_message_unref>>;
using Slot = std::unique_ptr<sd_bus_slot, Releases<sd_bus_slot_unref>>;
using Track = std::unique_ptr<sd_bus_track, Releases<sd_bus_track_unref>>;
using Event = std::unique_ptr<sd_event, Releases<sd_event_unref>>;
using Source = std::unique_ptr<sd_event_source, Releases<sd_event_source_disable_unref>>;
