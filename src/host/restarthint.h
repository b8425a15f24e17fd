// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::RestartHint
/// Whether the machine has to be restarted before updates take effect, as packages of Debian say
/// it: by the file /run/reboot-required, and in /run/reboot-required.pkgs for which packages. Both
/// are gone after a restart. The hint follows the files.
///
///     auto* hint = new Pakmart::RestartHint(window);
///     connect(hint, &Pakmart::RestartHint::changed, window, [hint] { show(hint->isNeeded()); });

#pragma once

#include <QObject>
#include <QStringList>
#include <memory>
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT RestartHint : public QObject
{
    Q_OBJECT
    /// Whether a restart is needed.
    Q_PROPERTY(bool needed READ isNeeded NOTIFY changed)
    /// The packages for which it is needed, sorted; empty if they are not known.
    Q_PROPERTY(QStringList packages READ packages NOTIFY changed)

public:
    /// Reads the files at once; they are small.
    explicit RestartHint(QObject* parent = nullptr);
    ~RestartHint() override;

    /// Whether a restart is needed.
    bool isNeeded() const;
    /// The packages for which it is needed, sorted; empty if they are not known.
    QStringList packages() const;

Q_SIGNALS:
    /// Something else is so.
    void changed();

private:
    void read();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
