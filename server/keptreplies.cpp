// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "keptreplies.h"

std::shared_ptr<const Content> KeptReplies::Get(const std::string& function,
                                                const StoreState& state,
                                                const std::function<std::string()>& make)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Kept& kept = m_kept[function];
    lock.unlock();
    const std::lock_guard<std::mutex> turn(kept.mutex);
    if (!kept.content || kept.state != state) {
        kept.content.reset(); // before the new one needs its memory
        kept.content = std::make_shared<const Content>(make());
        kept.state = state;
    }
    return kept.content;
}
