// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/ccatalogmgr.h"

#include "base/text.h"
#include "catalog/savedtree.h"
#include "support/ctracer.h"

using namespace Agent;

CCatalogMgr::~CCatalogMgr() = default;

bool CCatalogMgr::ReadCatalog()
{
    CTracer tracer("CCatalogMgr::ReadCatalog");
    return ReadSavedTree(".catalog", m_root) && BuildCatalogNode(&m_root);
}

bool CCatalogMgr::BuildCatalogNode(CXMLNode* node)
{
    CTracer tracer("CCatalogMgr::BuildCatalogNode");
    for (CXMLNode* category : node->ChildArray("category")) {
        m_categories[LeadingNumber(category->Attribute("serialnumber", ""))] = category;
        BuildCatalogNode(category);
    }
    for (CXMLNode* product : node->ChildArray("product"))
        m_applications[LeadingNumber(product->ChildValue("serialnumber", ""))] = product;
    return true;
}

CXMLNode* CCatalogMgr::Category(long serial)
{
    return m_categories[serial];
}

CXMLNode* CCatalogMgr::Application(long serial)
{
    return m_applications[serial];
}
