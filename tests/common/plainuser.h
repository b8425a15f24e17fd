// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Root reads and writes everything, so what may be refused is tried as nobody.

#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <sys/stat.h>
#include <unistd.h>

// As long as it lives, a process of root acts as the user nobody; one of another
// user stays what it is.
class PlainUser
{
public:
    PlainUser() : m_root(geteuid() == 0)
    {
        if (!m_root)
            return;
        // The way to the machine image is root's alone.
        if (chmod(qgetenv("TEST_DIR").constData(), 0711) != 0 || setresgid(kNobody, kNobody, 0) != 0
            || setresuid(kNobody, kNobody, 0) != 0)
            qFatal("cannot become a plain user");
    }
    ~PlainUser()
    {
        if (m_root && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0))
            qFatal("cannot become root again");
    }
    PlainUser(const PlainUser&) = delete;
    PlainUser& operator=(const PlainUser&) = delete;

    static constexpr unsigned kNobody = 65534;

private:
    const bool m_root;
};
