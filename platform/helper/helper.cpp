// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/helper.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>

namespace
{

constexpr std::size_t mostChanges = 16;
constexpr uint64_t second = 1000 * 1000, idleTime = 60 * second;
constexpr char polkitName[] = "org.freedesktop.PolicyKit1";
constexpr char polkitPath[] = "/org/freedesktop/PolicyKit1/Authority";
constexpr char polkitInterface[] = "org.freedesktop.PolicyKit1.Authority";

// Copies the arguments: what counts later is what arrived.
bool Read(sd_bus_message* call, Wish& wish)
{
    const char *verb = nullptr, *name = nullptr, *digest = nullptr;
    bool isRead = sd_bus_message_read(call, "s", &verb) > 0
        && sd_bus_message_enter_container(call, 'a', "s") > 0;
    int more = 0;
    while (isRead && (more = sd_bus_message_read(call, "s", &name)) > 0)
        wish.names.emplace_back(name);
    isRead = isRead && more == 0 && sd_bus_message_exit_container(call) >= 0
        && sd_bus_message_read(call, "s", &digest) > 0;
    if (isRead)
        wish = { verb, wish.names, digest };
    return isRead;
}

// Whether polkit's answer is a yes. Anything else, also something that is not an answer, is a no.
bool IsYes(sd_bus_message* answer)
{
    int authorized = 0;
    return !sd_bus_message_is_method_error(answer, nullptr)
        && sd_bus_message_enter_container(answer, 'r', "bba{ss}") > 0
        && sd_bus_message_read(answer, "b", &authorized) > 0 && authorized == 1;
}

} // namespace

bool Helper::Connect()
{
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Change", "sass", "h", &Helper::OnChange, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_SIGNAL("Ended", "i", 0),
        SD_BUS_VTABLE_END,
    };
    sd_event* event = nullptr;
    sd_bus* bus = nullptr;
    const bool isOpen = sd_event_new(&event) >= 0 && sd_bus_open_system(&bus) >= 0;
    m_event.reset(event);
    m_bus.reset(bus);
    return isOpen && sd_bus_set_exit_on_disconnect(bus, 1) >= 0
        && sd_bus_set_method_call_timeout(bus, m_askSeconds * second) >= 0
        && sd_bus_attach_event(bus, event, 0) >= 0
        && sd_bus_add_object_vtable(bus, nullptr, helperPath, helperInterface, table, this) >= 0
        && sd_bus_request_name(bus, helperName, 0) >= 0;
}

int Helper::Run()
{
    umask(022); // the front end's
    sigset_t blocked; // sd-event wants to collect the children itself
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    int done = Connect() ? 1 : -1;
    if (done < 0)
        std::fputs("pakmart-helper: there is no place for it on the bus\n", stderr);
    while (done > 0 || (done == 0 && !m_changes.empty()))
        done = sd_event_run(m_event.get(), idleTime);
    return done < 0 ? 1 : 0;
}

int Helper::OnChange(sd_bus_message* call, void* data, sd_bus_error* error)
{
    Helper& helper = *static_cast<Helper*>(data);
    std::list<Change>& changes = helper.m_changes;
    Wish wish;
    const char* const caller = sd_bus_message_get_sender(call);
    const char* const fault = caller && Read(call, wish) ? FaultOf(wish) : "This cannot be read.";
    if (fault)
        return sd_bus_error_set(error, errorInvalid, fault);
    if (changes.size() >= mostChanges
        || std::any_of(changes.begin(), changes.end(),
                       [&](const Change& one) { return one.caller == caller; }))
        return sd_bus_error_set(error, errorBusy, "Another change has not ended yet.");
    changes.push_back({ helper, wish, Message(sd_bus_message_ref(call)), caller });
    if (helper.Ask(changes.back()))
        return 1;
    changes.pop_back();
    return sd_bus_error_set(error, errorFailed, "polkit cannot be asked.");
}

// The subject is the connection that sent the call, by the name that the bus gave it: never a
// process number, which another process may have by now.
bool Helper::Ask(Change& change)
{
    sd_bus_track* track = nullptr;
    if (sd_bus_track_new(m_bus.get(), &track, OnGone, &change) < 0)
        return false;
    change.presence.reset(track);
    const std::string action = std::string(helperName) + '.' + change.wish.verb;
    change.questionName = "pakmart-" + std::to_string(++m_questions);
    const int prompts = sd_bus_message_get_allow_interactive_authorization(change.call.get()) > 0;
    sd_bus_slot* slot = nullptr;
    const bool isAsked = sd_bus_track_add_name(track, change.caller.c_str()) >= 0
        && sd_bus_call_method_async(m_bus.get(), &slot, polkitName, polkitPath, polkitInterface,
                                    "CheckAuthorization", OnAnswer, &change, "(sa{sv})sa{ss}us",
                                    "system-bus-name", 1, "name", "s", change.caller.c_str(),
                                    action.c_str(), 0, prompts, change.questionName.c_str())
            >= 0;
    change.question.reset(slot);
    return isAsked;
}

int Helper::OnAnswer(sd_bus_message* answer, void* data, sd_bus_error*)
{
    Change& change = *static_cast<Change*>(data);
    if (IsYes(answer) && sd_bus_track_count(change.presence.get()) > 0)
        change.helper.CarryOut(change);
    else
        change.helper.Refuse(change, errorDeclined, "An administrator has not allowed this.");
    return 1;
}

void Helper::CarryOut(Change& change)
{
    Agent::Descriptor output;
    sd_event_source* source = nullptr;
    change.process = StartFrontEnd(WordsOf(change.wish), output);
    if (change.process < 0
        || sd_event_add_child(m_event.get(), &source, change.process, WEXITED, OnEnded, &change)
            < 0)
        return Refuse(change, errorFailed, "The package front end cannot be started.");
    change.child.reset(source);
    if (sd_bus_reply_method_return(change.call.get(), "h", output.Get()) < 0)
        kill(change.process, SIGTERM);
}

void Helper::Refuse(Change& change, const char* error, const char* sentence)
{
    sd_bus_reply_method_errorf(change.call.get(), error, "%s", sentence);
    Forget(change);
}

// The caller has left the bus.
int Helper::OnGone(sd_bus_track*, void* data)
{
    Change& change = *static_cast<Change*>(data);
    change.presence.reset(); // or this is called again and again
    if (change.process > 0)
        return kill(change.process, SIGTERM);
    change.helper.Forget(change);
    return 0;
}

int Helper::OnEnded(sd_event_source*, const siginfo_t* end, void* data)
{
    Change& change = *static_cast<Change*>(data);
    const int status = end->si_code == CLD_EXITED ? end->si_status : 128 + end->si_status;
    sd_bus_message* news = nullptr;
    if (sd_bus_message_new_signal(change.helper.m_bus.get(), &news, helperPath, helperInterface,
                                  "Ended")
            >= 0
        && sd_bus_message_append(news, "i", status) >= 0)
        sd_bus_send_to(change.helper.m_bus.get(), news, change.caller.c_str(), nullptr);
    sd_bus_message_unref(news);
    change.helper.Forget(change);
    return 0;
}

// A question that has no answer yet leaves the screen.
void Helper::Forget(const Change& change)
{
    if (change.process < 0)
        sd_bus_call_method_async(m_bus.get(), nullptr, polkitName, polkitPath, polkitInterface,
                                 "CancelCheckAuthorization", nullptr, nullptr, "s",
                                 change.questionName.c_str());
    m_changes.remove_if([&](const Change& one) { return &one == &change; });
}
