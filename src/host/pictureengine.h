// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Finds pictures for all picture stores of a process: each source once at a time, whoever asks for
// it. Files are read and decoded in threads; transfers are KIO's, in the event loop.

#pragma once

#include "host/beside.h"
#include "host/outcome.h"
#include "host/picturecache.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSize>
#include <QStringList>
#include <array>
#include <deque>
#include <functional>
#include <vector>

namespace KIO
{
class TransferJob;
} // namespace KIO

namespace Pakmart
{

class PictureEngine : public QObject
{
    Q_OBJECT

public:
    PictureEngine(const QString& folder, const PictureLimits& limits);
    ~PictureEngine() override;

    // A picture, or why there is none.
    using Answer = std::function<void(const QImage& image, const Failure& failure)>;
    // Calls `answer` once, from the event loop. Returns a number to cancel it with.
    int request(const QString& source, const QSize& size, const Answer& answer);
    void cancel(int number);

private:
    struct Wish {
        int number = 0;
        QSize size;
        Answer answer;
    };
    // A source that is looked for.
    struct Work {
        std::vector<Wish> wishes;
        QByteArray old; // from the cache, if the server has no new one
        QByteArray received;
        QPointer<KIO::TransferJob> job;
    };
    struct Drawn {
        QSize size;
        QImage image;
    };
    struct Outcome {
        std::vector<Drawn> pictures; // one for each size
        PictureCache::Found found; // in the cache
    };

    // What a thread does, and what follows in the event loop.
    struct Piece {
        std::function<Outcome()> work;
        std::function<void(const Outcome&)> then;
    };

    void begin(const QString& source);
    void drawIcon(const QString& name);
    void readFile(const QString& source, const QString& path);
    void lookInCache(const QString& source);
    void onFound(const QString& source, const Outcome& outcome);
    void startTransfers();
    void transfer(const QString& source);
    void follow(const QString& source, KIO::TransferJob* job);
    void onTransferred(const QString& source, KIO::TransferJob* job);
    void takeReply(const QString& source);
    void giveUp(const QString& source, Error::Code code, bool isRefused);
    void endTransfer(const QString& source);

    void beside(const std::function<Outcome()>& work,
                const std::function<void(const Outcome&)>& then);
    void startPieces();
    std::vector<Drawn> decoded(const QByteArray& bytes, const std::vector<QSize>& sizes) const;
    std::vector<QSize> sizesOf(const QString& source) const;
    void deliver(const QString& source, const std::vector<Drawn>& pictures);
    void fail(const QString& source, const Failure& failure);

    const PictureLimits m_limits;
    const PictureCache m_cache;
    QHash<QString, Work> m_works;
    QHash<QString, QDeadlineTimer> m_away; // servers that were not there, by host and port
    QStringList m_queue; // sources that wait for a transfer
    int m_transfers = 0;
    int m_last = 0;
    std::deque<Piece> m_pieces;
    std::array<Beside, 2> m_threads; // the last one, so that they have ended when the others go
};

} // namespace Pakmart
