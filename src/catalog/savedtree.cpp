// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/savedtree.h"

#include "catalog/cxmlnode.h"
#include "request/replydocument.h"
#include "util/diagnostics.h"
#include "util/paths.h"

#include <QDomDocument>
#include <QFile>
#include <QSaveFile>
#include <ostream>
#include <streambuf>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// A stream's way into a file. A tree flushes behind each of its elements, which
// is no reason to write: the file is flushed once, at its end.
class DeviceBuffer : public std::streambuf
{
public:
    explicit DeviceBuffer(QIODevice& device) : m_device(device) { }

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        return m_device.write(text, size);
    }
    int_type overflow(int_type c) override
    {
        const char byte = traits_type::to_char_type(c);
        return m_device.write(&byte, 1) == 1 ? traits_type::not_eof(c) : traits_type::eof();
    }

private:
    QIODevice& m_device;
};

// The file is a new one: nobody but its owner and group may write to it, and the
// process's mask may leave them less.
void MakePermissions(int fd)
{
    struct stat info = {};
    if (fstat(fd, &info) == 0)
        fchmod(fd, info.st_mode & 0664);
}

// The file takes the place of an older one: its owner keeps it, where this process
// may give a file away.
void KeepOwner(int fd, const struct stat& before)
{
    if (fchown(fd, before.st_uid, before.st_gid) != 0)
        return;
}

} // namespace

QString SavedTreePath(const char* name)
{
    return SystemPath(GetRootPath() + QLatin1String(name));
}

bool ReadFirstElement(const QDomElement& body, CXMLNode& tree)
{
    QDomNode first = body.firstChildElement();
    return !first.isNull() && tree.ReadNode(first);
}

bool SaveTree(CXMLNode& tree, const char* name)
{
    QSaveFile file(SavedTreePath(name));
    file.setDirectWriteFallback(true);
    struct stat before = {};
    const bool isNew = stat(QFile::encodeName(file.fileName()).constData(), &before) != 0;
    if (!file.open(QIODevice::WriteOnly)) {
        qCInfo(logCatalog, "cannot write %s: %s", qUtf8Printable(file.fileName()),
               qUtf8Printable(file.errorString()));
        return false;
    }
    if (isNew)
        MakePermissions(file.handle());
    else
        KeepOwner(file.handle(), before);
    DeviceBuffer buffer(file);
    std::ostream out(&buffer);
    tree.SaveNode(out, -1);
    if (!out || !file.flush())
        file.cancelWriting();
    const bool written = file.commit();
    if (written)
        qCDebug(logCatalog, "wrote %s", qUtf8Printable(file.fileName()));
    else
        qCInfo(logCatalog, "cannot replace %s: %s", qUtf8Printable(file.fileName()),
               qUtf8Printable(file.errorString()));
    return written;
}

void SaveFirstElement(const QDomElement& body, const char* name)
{
    CXMLNode tree(nullptr);
    if (ReadFirstElement(body, tree))
        SaveTree(tree, name);
}

bool ReadSavedTree(const char* name, CXMLNode& tree)
{
    QDomDocument document;
    if (!ReadReplyDocument(SavedTreePath(name), document)) {
        qCInfo(logCatalog, "cannot take %s for a saved reply", qUtf8Printable(SavedTreePath(name)));
        return false;
    }
    QDomNode root = document.documentElement();
    return tree.ReadNode(root);
}
