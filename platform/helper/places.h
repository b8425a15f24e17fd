// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the helper finds its bus and the package front end. Nobody can change that: only the
// helper of the tests, a program of its own that is never installed, reads variables.

#pragma once

#include <cstdlib>
#include <string>

#ifdef PAKMART_HELPER_FOR_TESTS
inline constexpr bool isForTests = true;
inline std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}
inline std::string BusAddress()
{
    return Variable("TEST_BUS");
}
inline std::string FrontEndProgram()
{
    return Variable("TEST_FRONT_END");
}
#else
inline constexpr bool isForTests = false;
inline std::string BusAddress()
{
    return "unix:path=/run/dbus/system_bus_socket";
}
inline std::string FrontEndProgram()
{
    return "/usr/bin/vos-apt-get";
}
#endif

// How long polkit may take to ask a person, and how long the helper stays without work.
inline constexpr unsigned askSeconds = isForTests ? 3 : 600;
inline constexpr unsigned idleSeconds = 60;
