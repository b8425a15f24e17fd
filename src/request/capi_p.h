// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The state of a request that no host sees.

#pragma once

#include "request/capi.h"
#include "request/spoolfile.h"

#include <KJob>
#include <QPointer>
#include <ctime>
#include <functional>

class CAPI::Private
{
public:
    AgentError::Code m_nFailure = AgentError::NoFailure;
    QString m_sFailure; // the sentence
    QString m_sDetails;
    QString m_sURL; // asked for
    QString m_sStatus; // of HTTP
    QString m_sMark; // of the reply; empty without one
    QString m_sStatement; // that the store has signed this reply; empty without one
    std::time_t m_started = 0; // when the transfer did
    std::unique_ptr<Agent::SpoolFile> m_pSpool;
    int m_nSpoolError = 0; // why the reply file could not be made or written
    bool m_bConnected = false;
    bool m_bCopiesReply = false;
    bool m_bReading = false; // the reply is being parsed
    bool m_bInterrupted = false;
    std::function<bool(QIODevice& file, const std::function<bool()>& goOn)> m_take;
    QPointer<KJob> m_pJob;
    std::uint64_t m_nMaxReply = 0; // bytes that the reply may have
    std::uint64_t m_nReceived = 0; // that it has so far
    // Shared with the frame that waits, which outlives the object.
    const std::shared_ptr<bool> m_bDone = std::make_shared<bool>(false);
};
