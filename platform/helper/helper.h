// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The helper on the bus: takes a wish, asks polkit whether its caller may have it, and lets
// the package front end carry it out.
//
//     Change(s verb, as names, s digest) -> h output
//     signal Ended(i status), to the caller alone
//
// The call has its answer once polkit has decided. The front end's output can be read from
// the pipe in it. A caller that leaves the bus before that gets nothing; one that leaves later
// interrupts the front end, which never interrupts dpkg.

#pragma once

#include "platform/helper/bus.h"
#include "platform/helper/wish.h"

#include <list>

class Helper
{
public:
    // False, after a line on standard error, if there is no bus or the name is taken.
    bool Start();
    // Until there has been nothing to do for a while.
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

    // `data` is the helper for the first and the last one, and a Change for the others.
    static int OnChange(sd_bus_message* call, void* data, sd_bus_error* error);
    static int OnAnswer(sd_bus_message* answer, void* data, sd_bus_error*);
    static int OnGone(sd_bus_track*, void* data);
    static int OnEnded(sd_event_source*, const siginfo_t* end, void* data);
    static int OnIdle(sd_event_source*, uint64_t, void* data);

    bool MayTake(const std::string& caller) const;
    int Ask(Change& change);
    void CarryOut(Change& change);
    void Refuse(Change& change, const char* error, const char* sentence);
    void Forget(const Change& change);
    void Rest();

    Event m_event;
    Bus m_bus;
    Source m_idle;
    unsigned m_questions = 0;
    std::list<Change> m_changes;
};
