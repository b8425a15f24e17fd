// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by the tests of the record store: reproducible random numbers, and a count of
// the process's open descriptors.

#pragma once

#include "store/storecheck.h"

#include <QDir>
#include <QtTest>

#include <algorithm>
#include <random>

using Agent::Findings;

// Numbers from a seed.
class Random
{
public:
    explicit Random(std::uint64_t seed) : m_engine(seed) { }

    // With a new seed each time, which is printed; PAKMART_TEST_SEED sets it.
    static Random announced()
    {
        bool given = false;
        std::uint64_t seed = qEnvironmentVariable("PAKMART_TEST_SEED").toULongLong(&given);
        if (!given)
            seed = std::random_device()();
        qInfo("PAKMART_TEST_SEED=%llu", static_cast<unsigned long long>(seed));
        return Random(seed);
    }

    // From 0 to limit - 1.
    template <class Number> std::uint32_t below(Number limit)
    {
        return std::uint32_t(m_engine() % std::uint32_t(limit));
    }

    template <typename Container> void shuffle(Container* container)
    {
        std::shuffle(container->begin(), container->end(), m_engine);
    }

private:
    std::mt19937_64 m_engine;
};

inline int OpenDescriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::System | QDir::Files).size();
}

// Shown when a comparison of findings fails.
namespace QTest
{
template <> inline char* toString(const Findings& findings)
{
    QByteArray text = findings.empty() ? "sound" : "";
    for (const std::string& what : findings)
        text += (text.isEmpty() ? "" : "; ") + QByteArray::fromStdString(what);
    return qstrdup(text.left(900).constData());
}
} // namespace QTest
