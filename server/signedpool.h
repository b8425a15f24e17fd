// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The signed files of the repositories: `InRelease`, and `Release`, the same text without the
// signature. They name the sums of each index, and the time until which it may be used.
// They are made when they are first asked for, and again when an index has changed or the
// last signature is a day old.

#pragma once

#include "httpmessage.h"
#include "signedreplies.h"
#include "signer.h"
#include "store.h"

#include <ctime>
#include <map>
#include <mutex>
#include <string>

// A date as such files write it.
std::string DateText(std::time_t when);

class SignedPool
{
public:
    // `origin` is the store's name in these files. Several servers of one store sign with the date
    // that they share (shareddate.h), a single one with its own.
    SignedPool(Store& store, const Signer& signer, const std::string& origin, bool isShared);

    // Signs every repository. Throws StoreError if one cannot be signed.
    void Check();

    // Answers a request for the file `path` below the pool if it is such a file, or one of
    // a repository whose archives are on another server; false for any other file.
    bool Serve(const std::string& path, HttpReply& reply);

    // The date for what is made of the store from now on; 0 where this server has its own. To be
    // asked before a reply is made: what is older must not get a newer date.
    std::time_t Date() const;

    // Adds its statement to a reply as SignedReplies does.
    bool Cover(const SignedReplies::Wish& wish, HttpReply& reply)
    {
        return m_replies.Cover(wish, reply);
    }

private:
    struct Signed {
        std::time_t made = 0;
        std::string mark; // of the indexes
        std::string release, inRelease;
    };

    bool IsOver(const Signed& files, std::time_t shared) const;
    Signed Make(const std::string& repository, std::time_t shared);
    Signed Current(const std::string& repository);
    bool ServeElsewhere(const std::string& repository, const std::string& file, HttpReply& reply);

    Store& m_store;
    const Signer& m_signer;
    const std::string m_origin;
    const bool m_isShared;
    std::mutex m_mutex;
    std::map<std::string, Signed> m_signed;
    SignedReplies m_replies;
};
