// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/cgetospackage.h"

#include "install/crunaptget.h"
#include "support/ctracer.h"

CGetOSPackage::CGetOSPackage(const QString& action, const QString& package, bool flag)
    : m_sPackage(package), m_sAction(action), m_bFlag(flag)
{
}

CGetOSPackage::~CGetOSPackage() = default;

void CGetOSPackage::Execute()
{
    CTracer tracer("CGetOSPackage::Execute");
    const char action = m_sAction.isEmpty() ? '\0' : m_sAction.at(0).toLatin1();
    CRunAptGet().Run(action, m_sPackage.toStdString(), true, false);
}
