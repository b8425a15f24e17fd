// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/packagelock.h"

#include "util/paths.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QList>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Pakmart
{

namespace
{

// A lock as the kernel lists it: the device in hexadecimal, and the number of the file.
struct HeldLock {
    QByteArray file; // "fe:00:1234"
    pid_t holder;
};

// "1: POSIX  ADVISORY  WRITE 20203 fe:00:1234 0 EOF"; lines of processes that wait for a lock
// have an arrow.
QList<HeldLock> HeldLocks()
{
    constexpr int mostBytes = 1024 * 1024;
    QFile list(QStringLiteral("/proc/locks"));
    QList<HeldLock> locks;
    if (!list.open(QIODevice::ReadOnly))
        return locks;
    for (const QByteArray& line : list.read(mostBytes).split('\n')) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() >= 6 && words[1] == "POSIX" && words[3] == "WRITE")
            locks << HeldLock{ words[5], pid_t(words[4].toLong()) };
    }
    return locks;
}

QByteArray NumberOf(const std::string& file)
{
    struct stat info = {};
    if (stat(file.c_str(), &info) != 0)
        return QByteArray();
    const auto hexadecimal
        = [](unsigned number) { return QByteArray::number(number, 16).rightJustified(2, '0'); };
    return hexadecimal(major(info.st_dev)) + ':' + hexadecimal(minor(info.st_dev)) + ':'
        + QByteArray::number(qulonglong(info.st_ino));
}

QString NameOf(pid_t process)
{
    if (process <= 0) // one of another namespace
        return QCoreApplication::translate("Pakmart", "another process");
    const QString number = QCoreApplication::translate("Pakmart", "process %1").arg(process);
    QFile file(QStringLiteral("/proc/%1/comm").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return number;
    const QString name = QString::fromUtf8(file.readAll()).simplified();
    return name.isEmpty() ? number : number + QStringLiteral(" (%1)").arg(name);
}

} // namespace

// The files are not opened: a process that closes one loses its own lock of it, and the host
// may hold one. Where the list cannot be read, or has other numbers of devices, the package
// front end waits.
QString HolderOfPackageLock()
{
    const QList<HeldLock> locks = HeldLocks();
    for (const char* file :
         { "/var/lib/dpkg/lock-frontend", "/var/lib/dpkg/lock", "/var/cache/apt/archives/lock" }) {
        const QByteArray number = NumberOf(Agent::SystemPath(file));
        for (const HeldLock& lock : locks)
            if (lock.file == number)
                return NameOf(lock.holder);
    }
    return QString();
}

} // namespace Pakmart
