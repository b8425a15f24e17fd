// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The helper on the bus: takes a wish, asks polkit whether its caller may have it, and lets
// the package front end carry it out. docs/security.md describes its interface.

#pragma once

#include "base/descriptor.h"
#include "platform/helper/wish.h"
#include "platform/helperbus.h"

#include <list>

class Helper
{
public:
    Helper(const char* program, unsigned seconds) : m_program(program), m_askSeconds(seconds) { }
    // Until there has been nothing to do for a minute. Returns the exit status.
    int Run();

private:
    // A wish, from its arrival to its end. It does not change on the way.
    struct Change {
        Helper& helper;
        const Wish wish;
        Message call;
        std::string caller = std::string(); // its unique name
        Track presence = nullptr; // of the caller
        Slot question = nullptr; // to polkit
        std::string questionName = std::string();
        Source child = nullptr;
        pid_t process = -1;
    };

    // `data` is the helper for the first one, and a Change for the others.
    static int OnChange(sd_bus_message* call, void* data, sd_bus_error* error);
    static int OnAnswer(sd_bus_message* answer, void* data, sd_bus_error*);
    static int OnGone(sd_bus_track*, void* data);
    static int OnEnded(sd_event_source*, const siginfo_t* end, void* data);

    bool Connect();
    bool Ask(Change& change);
    void CarryOut(Change& change);
    // Runs the front end with nothing of the caller's and little of ours: a fixed environment, no
    // open file but a pipe, whose other end becomes `output`. Returns its process, or -1.
    pid_t StartFrontEnd(const std::vector<std::string>& words, Agent::Descriptor& output) const;
    void Refuse(Change& change, const char* error, const char* sentence);
    void Forget(const Change& change);

    const char* const m_program; // the front end
    const unsigned m_askSeconds; // for polkit, which may be asking a person
    Event m_event;
    Bus m_bus;
    unsigned m_questions = 0;
    std::list<Change> m_changes;
};
