// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CCatalogMgr
/// The catalog as the last update saved it (the file ".catalog" of the agent's
/// data folder, see savedtree.h), with its categories and products by their serial numbers.
///
///     CCatalogMgr catalog;
///     if (catalog.ReadCatalog())
///         if (CXMLNode* product = catalog.Application(1001))
///             ... product->Attribute("name", "")
///
/// A category is a node named "category", with its number in the attribute
/// "serialnumber". A product is a node named "product", with its number in its
/// first child "serialnumber"; it stands directly in a category, or in the root.
/// Categories may stand in categories. A missing number, or one without digits,
/// is 0; one that does not fit in 32 bits is the nearest that does.
///
/// Only reads, and only when told to. All pointers belong to the manager.

#pragma once

#include "../util/export.h"
#include "cxmlnode.h"

#include <map>

class VANTRELAGENT_EXPORT CCatalogMgr
{
public:
    /// Nodes by serial number; the nodes belong to the manager.
    using Index = std::map<long, CXMLNode*>;

    CCatalogMgr() = default;
    virtual ~CCatalogMgr();
    CCatalogMgr(const CCatalogMgr&) = delete;
    CCatalogMgr& operator=(const CCatalogMgr&) = delete;

    /// Loads the file. False, with nothing loaded, when ReadSavedTree cannot read it.
    /// A second call adds the file's nodes to those that are here, and the
    /// numbers then lead to the newer ones: make a new manager instead.
    bool ReadCatalog();

    /// Takes the categories below `node`, at any depth, and the products of each
    /// and of `node` itself into the indexes; of two with one number, the later.
    /// Always true.
    bool BuildCatalogNode(CXMLNode* node);

    /// The category or product of that number, or null. Asking for one that is
    /// not there leaves a null entry in the index.
    /// @{
    CXMLNode* Category(long serial);
    CXMLNode* Application(long serial);
    /// @}

    /// All of them by their numbers; null for one that was only asked for.
    /// @{
    const Index& Categories() const { return m_categories; }
    const Index& Applications() const { return m_applications; }
    /// @}

    /// The element that holds the catalog; empty before it is read.
    CXMLNode& Root() { return m_root; }

private:
    Index m_categories;
    Index m_applications;
    CXMLNode m_root{ nullptr };
};
