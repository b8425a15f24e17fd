// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The private tree of the package front end, as something that one transaction at a
// time may change: an install, a remove, a refresh of the sources.
//
// The lock is a file lock, so that the kernel drops it with the process that holds
// it. Where no lock file can be made (a home that cannot be written) nothing can be
// changed either, and the lock counts as taken.

#pragma once

#include <functional>
#include <string>

namespace Agent
{

// Why the private tree at `path` cannot be used, as a text for the user; empty when
// it can be. The path is part of command lines that are split at blanks and read by
// a shell.
std::string TreeProblem(const std::string& path);

class TreeLock
{
public:
    // `path`: the folder of the tree, which is made when the lock is taken.
    explicit TreeLock(std::string path) : m_path(std::move(path)) { }
    ~TreeLock() { Release(); }
    TreeLock(const TreeLock&) = delete;
    TreeLock& operator=(const TreeLock&) = delete;

    // Takes the lock if nobody holds it. True when this object has it.
    bool TryTake();

    // Whether the wait for the lock is to end without it.
    using GiveUp = std::function<bool()>;
    using Say = std::function<void(const std::string& text)>;
    // Takes the lock, waits for it while others hold it, and says for whom. False
    // when `giveUp` ended the wait, or when it could never end: this thread is
    // inside the transaction that holds the lock.
    bool Take(const Say& say, const GiveUp& giveUp);

    // Takes the lock from the transaction around us while that lends it (Loan), and
    // gives it back with the release.
    bool Borrow();

    void Release();
    bool IsTaken() const { return m_taken; }

    // Who holds it, as a text for the user: "pakmart (process 12)".
    std::string Holder() const;

    // That it is held, and by whom, as a sentence for the user.
    std::string BusyText() const { return "Another installation is under way: " + Holder() + '.'; }

    // A transaction that holds the tree runs a child, in a function that comes back
    // only after what its events call.
    class Work
    {
    public:
        Work() { ++m_works; }
        ~Work() { --m_works; }
        Work(const Work&) = delete;
        Work& operator=(const Work&) = delete;
    };

    // The holder calls somebody whose work on the tree is a part of its own.
    class Loan
    {
    public:
        explicit Loan(bool lend = true) { m_lent = lend; }
        ~Loan() { m_lent = false; }
        Loan(const Loan&) = delete;
        Loan& operator=(const Loan&) = delete;
    };

private:
    bool IsAroundUs() const;

    static TreeLock* m_holder; // of this process
    static int m_works;
    static bool m_lent;

    std::string m_path;
    bool m_taken = false;
    bool m_borrowed = false;
    int m_fd = -1;
    int m_loopLevel = 0; // of nested event loops, where it was taken
};

} // namespace Agent
