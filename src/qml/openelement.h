// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The job that starts an installed product, as an element with its name.

#pragma once

#include "jobelement.h"

#include <Pakmart/OpenJob>

namespace Pakmart
{

class OpenElement : public JobElement
{
    Q_OBJECT
    // The product's number in the store.
    Q_PROPERTY(int serial MEMBER m_serial NOTIFY serialChanged)
    // The path of the program that was started.
    Q_PROPERTY(QString program READ program NOTIFY finished)

public:
    explicit OpenElement(QObject* parent = nullptr) : JobElement(parent) { }

    QString program() const { return value(&OpenJob::program); }

Q_SIGNALS:
    void serialChanged();

protected:
    Job* make() override { return new OpenJob(m_serial, this); }

private:
    int m_serial = 0;
};

} // namespace Pakmart
