// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CMenuEditor
/// The desktop menu. Packages install their own menu entries, so this class writes
/// nothing; it only makes the panel read them again.

#pragma once

#include <QString>
#include <vantrelagent/export.h>

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

    /// Restarts the panel, without waiting and without checking the result.
    void restartMenu();
};
