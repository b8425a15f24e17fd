// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Root may read and write everything, so refusals are tested as the user nobody.

#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <sys/stat.h>
#include <unistd.h>

// As long as the object lives, a process of root acts as the user nobody. A process of
// another user is not changed.
class PlainUser
{
public:
    PlainUser() : m_root(geteuid() == 0)
    {
        if (!m_root)
            return;
        // Only root can enter the folder of the machine image.
        if (chmod(qgetenv("TEST_DIR").constData(), 0711) != 0 || setresgid(nobody, nobody, 0) != 0
            || setresuid(nobody, nobody, 0) != 0)
            qFatal("cannot become a plain user");
    }
    ~PlainUser()
    {
        if (m_root && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0))
            qFatal("cannot become root again");
    }
    PlainUser(const PlainUser&) = delete;
    PlainUser& operator=(const PlainUser&) = delete;

    static constexpr unsigned nobody = 65534;

private:
    const bool m_root;
};
