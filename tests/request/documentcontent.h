// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The content of the tree that Qt's parser built from a text, even if it found an error
// in the text.

#pragma once

#include <QDomDocument>
#include <algorithm>

struct DocumentContent {
    explicit DocumentContent(const QDomDocument& document)
    {
        const QDomDocumentType type = document.doctype();
        declarations = type.entities().size() + type.notations().size();
        int level = 0;
        for (QDomNode node = document.firstChild(); !node.isNull();) {
            if (node.isElement()) {
                depth = std::max(depth, level + 1);
                attributes = std::max(attributes, node.attributes().size());
            }
            if (node.hasChildNodes()) {
                node = node.firstChild();
                ++level;
                continue;
            }
            while (!node.isNull() && node.nextSibling().isNull()) {
                node = node.parentNode();
                --level;
            }
            node = node.nextSibling();
        }
    }
    int depth = 0;
    int attributes = 0; // the maximum of one element
    int declarations = 0;
};
