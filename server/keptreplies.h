// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Replies that are the same for all clients, made once for each state of the store. To make and
// pack the reply with a large catalog takes almost a second and several times its memory.

#pragma once

#include "content.h"
#include "store.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

class KeptReplies
{
public:
    // The reply of a function to a store in this state, made by `make` unless it is there. Of
    // several clients at once one has it made, and the others wait.
    std::shared_ptr<const Content> Get(const std::string& function, const StoreState& state,
                                       const std::function<std::string()>& make);

private:
    struct Kept {
        std::mutex mutex;
        StoreState state;
        std::shared_ptr<const Content> content;
    };

    std::mutex m_mutex; // for the map, not for what is in it
    std::map<std::string, Kept> m_kept; // by the names of the functions, which are few
};
