// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/handover.h"

#include "base/descriptor.h"
#include "base/dpkgstatus.h"
#include "base/privateroot.h"
#include "platform/child.h"
#include "platform/helperbus.h"
#include "platform/plandigest.h"
#include "platform/progress.h"
#include "platform/rightsagent.h"
#include "platform/statusreader.h"
#include "platform/transaction.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

constexpr uint64_t askMicroseconds = 15ULL * 60 * 1000 * 1000; // for a person at a password
constexpr uint64_t endMicroseconds = 30ULL * 1000 * 1000;

const char notAllowedText[]
    = "E: Nothing was changed: this needs an administrator's permission, which was not given.";
const char lostText[] = "E: The helper for package changes ended before the change did.";

bool HasOption(const Arguments& arguments, const char* option)
{
    return std::find(arguments.options.begin(), arguments.options.end(), option)
        != arguments.options.end();
}

// What a change by "install" is to the helper; empty for what it has no word for.
std::string VerbOfInstall(const Arguments& arguments)
{
    const bool removes = !arguments.removals.empty();
    const bool repairs
        = HasOption(arguments, "--fix-broken") || HasOption(arguments, "--reinstall");
    if (arguments.downloadsOnly)
        return repairs || removes ? "" : "download";
    if (removes)
        return repairs ? "" : "exchange";
    return repairs ? "repair" : "install";
}

// The helper's word for the command.
std::string VerbOf(const Arguments& arguments)
{
    if (arguments.command == "install")
        return VerbOfInstall(arguments);
    for (const char* verb : { "remove", "upgrade", "clean" }) {
        if (arguments.command == verb && !arguments.downloadsOnly)
            return verb;
    }
    return std::string();
}

// What the helper gets to read: what goes in an exchange has a '-' after its name.
std::vector<std::string> NamesFor(const Arguments& arguments)
{
    std::vector<std::string> names = arguments.names;
    for (const std::string& name : arguments.removals)
        names.push_back(name + '-');
    return names;
}

// Older versions may have holes that newer ones have closed: to choose them is left to root.
bool HasDowngrade(const PrintedPlan& plan)
{
    return std::find(plan.lines.begin(), plan.lines.end(), "Action: downgrade") != plan.lines.end();
}

// Whether a named package is only unpacked: plans do not show that it would be set up.
bool WaitsForSetup(const Arguments& arguments)
{
    const Agent::DpkgStatus status("/var/lib/dpkg");
    return std::any_of(arguments.names.begin(), arguments.names.end(),
                       [&](const std::string& name) { return status.Of(name).IsHalfWay(); });
}

// For what the helper has no word.
std::string RefusalOf(const Arguments& arguments)
{
    if (arguments.downloadsOnly)
        return "E: Only root can download this without installing it.";
    return "E: Only root can do this: " + arguments.command;
}

// A connection to the system's bus, and one change on it.
class HelperCall
{
public:
    explicit HelperCall(const Writer& write) : m_write(write) { }

    bool Connect()
    {
        sd_bus* bus = nullptr;
        const bool isOpen = sd_bus_open_system(&bus) >= 0;
        m_bus.reset(bus);
        return isOpen
            && sd_bus_match_signal(bus, nullptr, helperName, helperPath, helperInterface, "Ended",
                                   OnEnded, this)
            >= 0;
    }

    // Returns 0 when the helper has begun, or the exit status after an error line.
    int Ask(const std::string& verb, const std::vector<std::string>& names,
            const std::string& digest, bool interactive);
    // Relays the output until the end, and returns the exit status.
    int Relay();

private:
    void Await(int signals);
    void ReadOutput();
    static int OnEnded(sd_bus_message* news, void* call, sd_bus_error*)
    {
        int status = aptFailure;
        if (sd_bus_message_read(news, "i", &status) > 0)
            static_cast<HelperCall*>(call)->m_status = status;
        return 0;
    }

    const Writer& m_write;
    Bus m_bus;
    Agent::Descriptor m_output;
    std::optional<int> m_status;
    int m_signal = 0; // that has interrupted us
};

int HelperCall::Ask(const std::string& verb, const std::vector<std::string>& names,
                    const std::string& digest, bool interactive)
{
    sd_bus_message* call = nullptr;
    int result = sd_bus_message_new_method_call(m_bus.get(), &call, helperName, helperPath,
                                                helperInterface, "Change");
    const Message owned(call);
    std::vector<char*> texts;
    texts.reserve(names.size() + 1);
    for (const std::string& name : names)
        texts.push_back(const_cast<char*>(name.c_str()));
    texts.push_back(nullptr);
    if (result >= 0)
        result = sd_bus_message_append(call, "s", verb.c_str());
    if (result >= 0)
        result = sd_bus_message_append_strv(call, texts.data());
    if (result >= 0)
        result = sd_bus_message_append(call, "s", digest.c_str());
    if (result >= 0)
        result = sd_bus_message_set_allow_interactive_authorization(call, interactive);
    sd_bus_error error{};
    sd_bus_message* answer = nullptr;
    if (result >= 0)
        result = sd_bus_call(m_bus.get(), call, askMicroseconds, &error, &answer);
    const Message kept(answer);
    const bool isDeclined = sd_bus_error_has_name(&error, errorDeclined) > 0;
    const std::string reason = error.message ? error.message : "it cannot be reached";
    sd_bus_error_free(&error);
    int output = -1;
    if (result >= 0 && sd_bus_message_read(answer, "h", &output) > 0) {
        m_output = Agent::Descriptor(fcntl(output, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        return 0;
    }
    m_write(isDeclined ? notAllowedText : "E: The helper for package changes: " + reason);
    return isDeclined ? notAllowed : aptFailure;
}

// Waits for output. A signal leaves the bus, which the helper takes as an interruption: there is
// output until the change has ended.
void HelperCall::Await(int signals)
{
    pollfd news[] = { { m_output.Get(), POLLIN, 0 }, { m_signal ? -1 : signals, POLLIN, 0 } };
    signalfd_siginfo signal;
    if (poll(news, 2, -1) <= 0 || !(news[1].revents & POLLIN)
        || read(signals, &signal, sizeof signal) != sizeof signal)
        return;
    m_signal = int(signal.ssi_signo);
    m_bus.reset();
}

void HelperCall::ReadOutput()
{
    HoldEndSignals();
    const sigset_t ends = EndSignals();
    const Agent::Descriptor signals(signalfd(-1, &ends, SFD_CLOEXEC));
    LineReader lines;
    bool isRead = true;
    const auto handle = [&](const std::string& line) { isRead = m_write(line) && isRead; };
    char block[4096];
    for (ssize_t count = 1; isRead && count != 0;) {
        Await(signals.Get());
        count = read(m_output.Get(), block, sizeof block);
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            break;
        if (count > 0)
            lines.Feed(block, std::size_t(count), handle);
    }
    lines.Finish(handle);
    m_output = Agent::Descriptor();
    if (!isRead)
        m_bus.reset(); // that is an interruption, too
}

int HelperCall::Relay()
{
    ReadOutput();
    while (m_bus && !m_status) {
        const int done = sd_bus_process(m_bus.get(), nullptr);
        if (done < 0 || (done == 0 && sd_bus_wait(m_bus.get(), endMicroseconds) <= 0))
            break;
    }
    if (m_signal)
        return 128 + m_signal;
    if (!m_status)
        m_write(lostText);
    return m_status.value_or(aptFailure);
}

// Makes the plan that the helper is to carry out. Returns the exit status if there is nothing
// for it to do, and otherwise -1.
int MakePlanFor(const std::string& verb, const Arguments& arguments, const Writer& write,
                PrintedPlan& plan)
{
    plan = MakePlan(arguments, std::string());
    for (const std::string& line : plan.messages)
        write(line);
    if (plan.status != 0)
        return plan.status;
    if (HasDowngrade(plan)) {
        write("E: Only root can put an older version in place of a newer one.");
        return notAllowed;
    }
    if (verb == "repair" || !plan.IsEmpty() || WaitsForSetup(arguments))
        return -1;
    write(Progress::Done());
    return 0;
}

// Until the helper has begun nothing is half done, and a signal may end us.
void LetSignalsEndUs()
{
    const sigset_t ends = EndSignals();
    for (const int signal : { SIGINT, SIGTERM, SIGHUP }) {
        if (sigismember(&ends, signal))
            std::signal(signal, SIG_DFL);
    }
    sigprocmask(SIG_UNBLOCK, &ends, nullptr);
}

} // namespace

bool NeedsHelper(const Arguments& arguments)
{
    return !Agent::MayChangePackages()
        && (ChangesPackages(arguments) || arguments.command == "clean");
}

int HandOver(const Arguments& arguments, const Writer& write)
{
    const std::string verb = VerbOf(arguments);
    if (verb.empty()) {
        write(RefusalOf(arguments));
        return notAllowed;
    }
    const bool cleans = verb == "clean";
    PrintedPlan plan;
    if (const int status = cleans ? -1 : MakePlanFor(verb, arguments, write, plan); status >= 0)
        return status;
    LetSignalsEndUs();
    HelperCall call(write);
    if (!call.Connect()) {
        write("E: The system's bus cannot be reached, and only root can do this without it.");
        return notAllowed;
    }
    // The agent of the store cleans up after each install. That is not worth a question.
    const bool asks = !cleans || !arguments.ownSources;
    const std::optional<RightsAgent> agent
        = asks ? std::optional<RightsAgent>(std::in_place) : std::nullopt;
    if (const int status
        = call.Ask(verb, NamesFor(arguments), cleans ? std::string() : plan.Digest(), asks))
        return status;
    return call.Relay();
}
