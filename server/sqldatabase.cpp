// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sqldatabase.h"

#include "storefile.h"

#include <boost/asio/post.hpp>
#include <csignal>
#include <future>
#include <memory>

namespace
{

// PostgreSQL allows a hundred connections unless told otherwise, and several servers share them.
const std::size_t connections = 8;

// A thread belongs to one database for its life.
thread_local std::unique_ptr<SqlConnection> mine;

using Kind = PersonalFault::Kind;

// Signals are for the server's other threads.
std::unique_ptr<boost::asio::thread_pool> MakeThreads()
{
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto threads = std::make_unique<boost::asio::thread_pool>(connections);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return threads;
}

} // namespace

SqlDatabase::SqlDatabase(SqlSource source) : m_source(std::move(source)), m_threads(MakeThreads())
{
}

SqlDatabase::~SqlDatabase()
{
    m_threads->join();
}

PersonalFault SqlDatabase::Run(const Work& work)
{
    const auto task = std::make_shared<std::packaged_task<PersonalFault()>>([this, &work] {
        PersonalFault fault = Try(work);
        return fault.kind == Kind::Away && m_source.engine == SqlSource::Engine::PostgreSql
            ? Try(work)
            : fault;
    });
    std::future<PersonalFault> end = task->get_future();
    boost::asio::post(*m_threads, [task] { (*task)(); });
    return end.get();
}

PersonalFault SqlDatabase::Try(const Work& work) const
try {
    if (!mine)
        mine = std::make_unique<SqlConnection>(m_source);
    work(*mine);
    return {};
} catch (const SqlError& error) {
    mine.reset();
    return { error.isAway ? Kind::Away : Kind::Broken, error.what() };
} catch (const StoreError& error) {
    return { Kind::Broken, error.what() };
}
