// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CMenuEditor
/// The desktop menu. Packages bring their own menu entries, so nothing is written
/// here; all this does is have the panel read them again.

#pragma once

#include "../util/export.h"

#include <QString>

class VANTRELAGENT_EXPORT CMenuEditor
{
public:
    CMenuEditor() = default;
    virtual ~CMenuEditor();
    CMenuEditor(const CMenuEditor&) = delete;
    CMenuEditor& operator=(const CMenuEditor&) = delete;

    /// These do nothing.
    /// @{
    void addItem(QString name, QString path, QString comment, QString icon);
    virtual void removeItem(const QString& name);
    virtual void copyItem(const QString& from, const QString& to, bool replace);
    /// @}

    /// Has the panel restarted; does not wait for it, nor look what came of it.
    void restartMenu();
};
