// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The lock of the package front end's private tree: one transaction at a time may
// change the tree, such as an install, a remove, or a refresh of the sources.
//
// It is a file lock, so the kernel releases it when its process ends. If no lock file
// can be made (a home that cannot be written), nothing in the tree can be changed
// either, and the lock counts as taken by the caller.

#pragma once

#include "base/descriptor.h"

#include <functional>
#include <string>

namespace Agent
{

// Why the private tree at `path` cannot be used, as a text for the user; empty when
// it can be used. The path becomes part of command lines that are split at blanks and
// read by a shell.
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

    // Returns true to end the wait without the lock.
    using GiveUp = std::function<bool()>;
    using Say = std::function<void(const std::string& text)>;
    // Takes the lock; waits while others hold it, and reports who they are. False
    // when `giveUp` ended the wait, or when the wait could never end because this
    // thread is inside the transaction that holds the lock.
    bool Take(const Say& say, const GiveUp& giveUp);

    // Borrows the lock from the enclosing transaction while that lends it (Loan), and
    // returns it on release.
    bool Borrow();

    void Release();
    bool IsTaken() const { return m_taken; }

    // The holder, as a text for the user: "pakmart (process 12)".
    std::string Holder() const;

    // A sentence for the user that the tree is in use, and by which program.
    std::string BusyText() const { return "Another installation is under way: " + Holder() + '.'; }

    // Marks that the transaction holding the tree runs a child, in a function that
    // returns only after everything that its events call.
    class Work
    {
    public:
        Work() { ++m_works; }
        ~Work() { --m_works; }
        Work(const Work&) = delete;
        Work& operator=(const Work&) = delete;
    };

    // Marks that the holder calls code whose work on the tree is part of its own.
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
    Descriptor m_file;
    int m_loopLevel = 0; // of nested event loops, where it was taken
};

} // namespace Agent
