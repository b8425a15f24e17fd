// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What makes damaged databases whole again.

#include "host/worker/tasks.h"

#include <QDomDocument>
#include <QFile>
#include <vantrelagent/catalog/capiupdatecatalog.h>
#include <vantrelagent/catalog/cxmlnode.h>
#include <vantrelagent/catalog/savedtree.h>

namespace
{

// The saved catalog, if it is one that would be taken from the store.
bool ReadSavedCatalog(QDomDocument& document)
{
    {
        CXMLNode tree(nullptr);
        if (!Agent::ReadSavedTree(".catalog", tree))
            return false;
    }
    QFile file(Agent::SavedTreePath(".catalog"));
    return file.open(QIODevice::ReadOnly) && document.setContent(&file);
}

} // namespace

// Fills the database of the catalog from what the last update has saved.
Outcome RebuildCatalog(const QStringList&, Report&)
{
    Outcome outcome;
    QDomDocument document;
    if (!ReadSavedCatalog(document)) {
        outcome.code = AgentError::Other;
        outcome.sentence
            = QStringLiteral("There is no saved catalog that can be read. Update the catalog.");
        return outcome;
    }
    QDomElement catalog = document.documentElement();
    CAPIUpdateCatalog update(true, false);
    if (!update.ProcessVantrelCatalogRequest(catalog))
        outcome.code = AgentError::CannotWrite;
    return outcome;
}
