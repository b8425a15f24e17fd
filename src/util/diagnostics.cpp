// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/diagnostics.h"

namespace Agent
{

// src/vantrelagent.categories describes them for the programs that switch them on.
Q_LOGGING_CATEGORY(logRequest, "vantrel.agent.request", QtWarningMsg)
Q_LOGGING_CATEGORY(logCatalog, "vantrel.agent.catalog", QtWarningMsg)
Q_LOGGING_CATEGORY(logInstall, "vantrel.agent.install", QtWarningMsg)
Q_LOGGING_CATEGORY(logDb, "vantrel.agent.db", QtWarningMsg)
Q_LOGGING_CATEGORY(logSettings, "vantrel.agent.settings", QtWarningMsg)

} // namespace Agent
