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
/// first child "serialnumber"; it is a direct child of a category, or of the root.
/// Categories may contain categories. A missing number, or one without digits,
/// is 0; one that does not fit in 32 bits becomes the nearest one that does.
///
/// The manager only reads, and only when called. It owns all nodes it returns.

#pragma once

#include "cxmlnode.h"

#include <map>
#include <vantrelagent/export.h>

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
    /// A second call adds the file's nodes to the present ones, and the numbers then
    /// lead to the newer ones: make a new manager instead.
    bool ReadCatalog();

    /// Adds the categories below `node`, at any depth, and the products of each
    /// and of `node` itself to the maps; of two with one number, the later counts.
    /// Always true.
    bool BuildCatalogNode(CXMLNode* node);

    /// The category or product with that number, or null. Asking for a missing one
    /// leaves a null entry in the map.
    /// @{
    CXMLNode* Category(long serial);
    CXMLNode* Application(long serial);
    /// @}

    /// All of them by number; null for a missing one that was asked for.
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
