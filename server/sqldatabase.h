// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A database, with a few connections that all threads of the server share. Each has a thread of
// its own; requests wait for their turn.

#pragma once

#include "personaldata.h"
#include "sqlconnection.h"

#include <boost/asio/thread_pool.hpp>
#include <memory>

class SqlDatabase
{
public:
    explicit SqlDatabase(SqlSource source);
    ~SqlDatabase();
    SqlDatabase(const SqlDatabase&) = delete;
    SqlDatabase& operator=(const SqlDatabase&) = delete;

    // Runs `work`, which may throw SqlError and StoreError, and waits for its end. If the
    // connection to PostgreSQL is lost, `work` runs once more on a new one: it has to be the same
    // whether it is done once or twice.
    using Work = std::function<void(SqlConnection& connection)>;
    PersonalFault Run(const Work& work);

private:
    PersonalFault Try(const Work& work) const;

    const SqlSource m_source;
    const std::unique_ptr<boost::asio::thread_pool> m_threads;
};
