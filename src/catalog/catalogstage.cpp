// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/catalogstage.h"

#include "db/ccatalogfile.h"
#include "db/cdependency.h"
#include "db/dbfolders.h"
#include "util/diagnostics.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

std::string FileName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

bool IsReplaceable(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && access(path.c_str(), W_OK) == 0;
}

// A new file gets the permissions of the old one and, where this process may give
// files away, its owner.
void TakeAfter(const std::string& path, const std::string& old)
{
    struct stat status;
    if (stat(old.c_str(), &status) != 0)
        return;
    if (chown(path.c_str(), status.st_uid, status.st_gid) != 0)
        errno = 0;
    chmod(path.c_str(), status.st_mode & 07777);
}

} // namespace

CatalogStage::CatalogStage() : m_folder(CatalogFolder() + ".VACatalog.new/")
{
    for (std::string* name : { &CCatalogFile::CATALOGDFNAME, &CCatalogFile::CATALOGIDXNAME1,
                               &CCatalogFile::CATALOGIDXNAME2, &CCatalogFile::CATALOGIDXNAME3,
                               &CCatalogFile::CATALOGIDXNAME4, &CCatalogFile::CATALOGNOTES,
                               &CDependency::DEPENDENCYDFNAME, &CDependency::DEPENDENCYIDXNAME1,
                               &CDependency::DEPENDENCYIDXNAME2 })
        m_names.push_back({ name, *name });
    Lock();
    for (const Name& name : m_names) {
        const std::string made = m_lock < 0 ? name.real : m_folder + FileName(name.real);
        *name.name = made;
        if (name.name == &CCatalogFile::CATALOGNOTES) {
            for (const char* end : { ".fil", ".k1" })
                m_moves.push_back({ made + end, name.real + end });
        } else {
            m_moves.push_back({ made, name.real });
        }
    }
}

CatalogStage::~CatalogStage()
{
    for (const Name& name : m_names)
        *name.name = name.real;
    m_files.CloseAll();
    if (m_lock < 0)
        return;
    for (const Move& move : m_moves)
        unlink(move.from.c_str());
    rmdir(m_folder.c_str());
    close(m_lock);
}

// The folder goes with whoever held it, so that a lock may be got on one that is
// there no longer.
void CatalogStage::Lock()
{
    do {
        if (m_lock >= 0)
            close(m_lock);
        if (mkdir(m_folder.c_str(), 0700) != 0 && errno != EEXIST) {
            qCInfo(logCatalog, "cannot make %s: %s; the database is made in its place",
                   m_folder.c_str(), std::strerror(errno));
            return;
        }
        m_lock = open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (m_lock < 0 && errno != ENOENT)
            return;
        if (m_lock < 0 || flock(m_lock, LOCK_EX | LOCK_NB) == 0)
            continue;
        qCInfo(logCatalog, "waiting for %s, which another process holds", m_folder.c_str());
        while (flock(m_lock, LOCK_EX) != 0 && errno == EINTR) { }
    } while (!IsStill());
}

bool CatalogStage::IsStill() const
{
    struct stat held, there;
    return m_lock >= 0 && fstat(m_lock, &held) == 0 && stat(m_folder.c_str(), &there) == 0
        && held.st_ino == there.st_ino && held.st_dev == there.st_dev;
}

bool CatalogStage::canReplace() const
{
    return std::all_of(m_moves.begin(), m_moves.end(),
                       [](const Move& move) { return IsReplaceable(move.to); });
}

bool CatalogStage::Publish()
{
    m_files.CloseAll();
    if (!m_files.nothingFailed()) {
        qCInfo(logCatalog, "the new database is not whole; the old one stays");
        return false;
    }
    for (const Move& move : m_moves) {
        if (m_lock < 0)
            break;
        TakeAfter(move.from, move.to);
        if (std::rename(move.from.c_str(), move.to.c_str()) != 0) {
            qCInfo(logCatalog, "cannot replace %s: %s", move.to.c_str(), std::strerror(errno));
            return false;
        }
        qCDebug(logCatalog, "replaced %s", move.to.c_str());
    }
    return true;
}
