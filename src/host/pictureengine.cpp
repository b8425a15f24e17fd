// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/pictureengine.h"

#include "host/picturereader.h"
#include "host/picturesum.h"
#include "request/transfer.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace Pakmart
{

namespace
{

constexpr int mostTransfers = 4; // at once
constexpr int mostAway = 100; // servers; a list longer than that is old

// Characters of a name in an icon theme; "/" and ":" are those of paths and addresses.
bool IsIconName(const QString& text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.isLetterOrNumber() || c == QLatin1Char('-') || c == QLatin1Char('_')
            || c == QLatin1Char('.') || c == QLatin1Char('+');
    });
}

QString ServerOf(const QString& source)
{
    return PictureAddress(source).adjusted(QUrl::RemovePath | QUrl::RemoveQuery).toString();
}

// With a sum, a kept picture is the right one at any age, or damaged.
PictureCache::Found FindInCache(const PictureCache& cache, const QString& source)
{
    PictureCache::Found found = cache.find(source);
    if (!HasPictureSum(source))
        return found;
    found.isFresh = IsPictureOf(found.bytes, source);
    if (!found.isFresh)
        found.bytes.clear();
    return found;
}

Failure NoPicture()
{
    return { Error::ReplyNotUnderstood,
             QCoreApplication::translate("Pakmart",
                                         "This is not a picture, or it is damaged or too large.") };
}

Failure NotThere()
{
    return { Error::Other, QCoreApplication::translate("Pakmart", "There is no such picture.") };
}

// KIO shows no dialog, and sends no cookies: nobody has asked for this transfer by hand.
void MakeSilent(KIO::TransferJob* job)
{
    job->setUiDelegate(nullptr);
    job->addMetaData(QStringLiteral("cookies"), QStringLiteral("none"));
    job->addMetaData(QStringLiteral("no-auth-prompt"), QStringLiteral("true"));
    job->addMetaData(QStringLiteral("ssl_no_ui"), QStringLiteral("TRUE"));
}

} // namespace

PictureEngine::PictureEngine(const QString& folder, const PictureLimits& limits)
    : m_limits(limits), m_cache(folder, limits)
{
}

PictureEngine::~PictureEngine()
{
    for (const Work& work : std::as_const(m_works))
        if (work.job)
            work.job->kill(KJob::Quietly);
}

int PictureEngine::request(const QString& source, const QSize& size, const Answer& answer)
{
    const int number = ++m_last;
    const bool isNew = !m_works.contains(source);
    m_works[source].wishes.push_back({ number, size, answer });
    if (isNew)
        QMetaObject::invokeMethod(
            this, [this, source] { begin(source); }, Qt::QueuedConnection);
    return number;
}

// A source that nobody wants any more comes to its end nevertheless, unless it still waits.
void PictureEngine::cancel(int number)
{
    for (Work& work : m_works)
        work.wishes.erase(
            std::remove_if(work.wishes.begin(), work.wishes.end(),
                           [number](const Wish& one) { return one.number == number; }),
            work.wishes.end());
}

void PictureEngine::begin(const QString& source)
{
    const QUrl url(source);
    if (source.startsWith(QLatin1Char('/')))
        readFile(source, source);
    else if (url.isLocalFile() && url.host().isEmpty())
        readFile(source, url.toLocalFile());
    else if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"))
        lookInCache(source);
    else if (IsIconName(source))
        drawIcon(source);
    else
        fail(source, NotThere());
}

// Themes are installed and trusted, and only this thread may use them.
void PictureEngine::drawIcon(const QString& name)
{
    const bool canDraw = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
    const QIcon icon = canDraw ? QIcon::fromTheme(name) : QIcon();
    std::vector<Drawn> pictures;
    for (const QSize& size : sizesOf(name)) {
        constexpr int usual = 64;
        const QSize wanted = size.isEmpty() ? QSize(usual, usual) : size;
        pictures.push_back({ size, icon.isNull() ? QImage() : icon.pixmap(wanted).toImage() });
    }
    const bool isThere = std::any_of(pictures.begin(), pictures.end(),
                                     [](const Drawn& one) { return !one.image.isNull(); });
    if (isThere || pictures.empty())
        deliver(name, pictures);
    else
        fail(name, NotThere());
}

void PictureEngine::readFile(const QString& source, const QString& path)
{
    beside(
        [this, path, sizes = sizesOf(source)] {
            Outcome outcome;
            outcome.found.bytes = ReadPictureFile(path, m_limits.bytes, true);
            outcome.pictures = decoded(outcome.found.bytes, sizes);
            return outcome;
        },
        [this, source](const Outcome& outcome) {
            if (outcome.found.bytes.isEmpty())
                fail(source, NotThere());
            else
                deliver(source, outcome.pictures);
        });
}

void PictureEngine::lookInCache(const QString& source)
{
    beside(
        [this, source, sizes = sizesOf(source)] {
            Outcome outcome;
            outcome.found = FindInCache(m_cache, source);
            if (outcome.found.isFresh)
                outcome.pictures = decoded(outcome.found.bytes, sizes);
            return outcome;
        },
        [this, source](const Outcome& outcome) { onFound(source, outcome); });
}

// A file of the cache that is damaged is fetched again.
void PictureEngine::onFound(const QString& source, const Outcome& outcome)
{
    const auto isDrawn = [](const Drawn& one) { return !one.image.isNull(); };
    if (outcome.found.isRefused) {
        fail(source, NotThere());
    } else if (outcome.found.isFresh
               && std::all_of(outcome.pictures.begin(), outcome.pictures.end(), isDrawn)) {
        deliver(source, outcome.pictures);
    } else {
        m_works[source].old = outcome.found.bytes;
        m_queue << source;
        startTransfers();
    }
}

void PictureEngine::startTransfers()
{
    while (m_transfers < mostTransfers && !m_queue.isEmpty()) {
        const QString source = m_queue.takeFirst();
        const auto away = m_away.constFind(ServerOf(source));
        if (m_works[source].wishes.empty())
            m_works.remove(source);
        else if (away != m_away.constEnd() && !away->hasExpired())
            giveUp(source, Error::ServerUnreachable, false);
        else
            transfer(source);
    }
}

void PictureEngine::transfer(const QString& source)
{
    KIO::TransferJob* const job = Agent::StartTransfer(PictureAddress(source));
    if (!job) {
        giveUp(source, Error::ReplyNotUnderstood, false);
        return;
    }
    ++m_transfers;
    MakeSilent(job);
    m_works[source].job = job;
    follow(source, job);
}

void PictureEngine::follow(const QString& source, KIO::TransferJob* job)
{
    connect(job, &KIO::TransferJob::data, this, [this, source](KIO::Job*, const QByteArray& data) {
        QByteArray& received = m_works[source].received;
        if (received.size() + data.size() <= m_limits.bytes) {
            received += data;
            return;
        }
        endTransfer(source);
        giveUp(source, Error::ReplyNotUnderstood, true);
    });
    connect(job, &KJob::result, this, [this, source, job] { onTransferred(source, job); });
    Agent::WatchTransfer(
        job, { m_limits.silentSeconds, m_limits.transferSeconds, std::uint64_t(m_limits.bytes) },
        this, [this, source](AgentError::Code reason, int, const QString&) {
            const bool isLate = reason == AgentError::TimedOut;
            endTransfer(source);
            giveUp(source, isLate ? Error::TimedOut : Error::ServerFailed, !isLate);
        });
}

// The transfer is over, or is not wanted any more.
void PictureEngine::endTransfer(const QString& source)
{
    --m_transfers;
    KIO::TransferJob* const job = m_works[source].job;
    m_works[source].job = nullptr;
    if (job) {
        job->disconnect(this);
        job->kill(KJob::Quietly);
    }
    startTransfers();
}

void PictureEngine::onTransferred(const QString& source, KIO::TransferJob* job)
{
    const int error = Agent::TransferError(job);
    const int status = job->queryMetaData(QStringLiteral("responsecode")).toInt();
    constexpr int firstError = 400, firstServerError = 500;
    m_works[source].job = nullptr;
    --m_transfers;
    if (error != 0) {
        m_away.insert(ServerOf(source), QDeadlineTimer(m_limits.awaySeconds * 1000));
        if (m_away.size() > mostAway)
            m_away.clear();
        giveUp(source, Error::ServerUnreachable, false);
    } else if (status >= firstError) {
        giveUp(source, Error::ServerFailed, status < firstServerError);
    } else {
        takeReply(source);
    }
    startTransfers();
}

void PictureEngine::takeReply(const QString& source)
{
    const QByteArray bytes = std::exchange(m_works[source].received, QByteArray());
    beside(
        [this, source, bytes, sizes = sizesOf(source)] {
            Outcome outcome;
            // Somebody may have cancelled all sizes.
            const bool isPicture = IsPictureOf(bytes, source)
                && !DecodePicture(bytes, QSize(1, 1), m_limits.pixels).isNull();
            m_cache.keep(source, isPicture ? bytes : QByteArray());
            if (isPicture)
                outcome.pictures = decoded(bytes, sizes);
            return outcome;
        },
        [this, source](const Outcome& outcome) {
            if (outcome.pictures.empty())
                fail(source, NoPicture());
            else
                deliver(source, outcome.pictures);
        });
}

// An old picture is better than none. A refusal is kept, so that the server is left in peace.
void PictureEngine::giveUp(const QString& source, Error::Code code, bool isRefused)
{
    const QByteArray old = isRefused ? QByteArray() : m_works[source].old;
    beside(
        [this, source, old, isRefused, sizes = sizesOf(source)] {
            if (isRefused)
                m_cache.keepRefusal(source);
            Outcome outcome;
            if (!old.isEmpty())
                outcome.pictures = decoded(old, sizes);
            return outcome;
        },
        [this, source, code, hasOld = !old.isEmpty()](const Outcome& outcome) {
            if (hasOld)
                deliver(source, outcome.pictures);
            else
                fail(source,
                     code == Error::ReplyNotUnderstood ? NoPicture()
                                                       : Failure{ code, Error::sentence(code) });
        });
}

// ---- work beside the event loop, and its answers ----

void PictureEngine::beside(const std::function<Outcome()>& work,
                           const std::function<void(const Outcome&)>& then)
{
    m_pieces.push_back({ work, then });
    startPieces();
}

void PictureEngine::startPieces()
{
    for (Beside& thread : m_threads) {
        if (m_pieces.empty())
            return;
        if (thread.isRunning())
            continue;
        const Piece piece = std::move(m_pieces.front());
        m_pieces.pop_front();
        const auto outcome = std::make_shared<Outcome>();
        thread.start([outcome, work = piece.work] { *outcome = work(); },
                     [this, outcome, then = piece.then] {
                         startPieces();
                         then(*outcome);
                     });
    }
}

std::vector<PictureEngine::Drawn> PictureEngine::decoded(const QByteArray& bytes,
                                                         const std::vector<QSize>& sizes) const
{
    std::vector<Drawn> pictures;
    pictures.reserve(sizes.size());
    for (const QSize& size : sizes)
        pictures.push_back({ size, DecodePicture(bytes, size, m_limits.pixels) });
    return pictures;
}

std::vector<QSize> PictureEngine::sizesOf(const QString& source) const
{
    std::vector<QSize> sizes;
    const auto work = m_works.constFind(source);
    if (work == m_works.constEnd())
        return sizes;
    for (const Wish& wish : work->wishes)
        if (std::find(sizes.begin(), sizes.end(), wish.size) == sizes.end())
            sizes.push_back(wish.size);
    return sizes;
}

// An answer may ask for more, or end all of this. A size that was wanted too late is drawn next.
void PictureEngine::deliver(const QString& source, const std::vector<Drawn>& pictures)
{
    const QPointer<PictureEngine> alive(this);
    for (const Wish& wish : m_works.take(source).wishes) {
        const auto drawn
            = std::find_if(pictures.begin(), pictures.end(),
                           [&wish](const Drawn& one) { return one.size == wish.size; });
        if (drawn == pictures.end()) {
            const bool isNew = !m_works.contains(source);
            m_works[source].wishes.push_back(wish);
            if (isNew)
                QMetaObject::invokeMethod(
                    this, [this, source] { begin(source); }, Qt::QueuedConnection);
            continue;
        }
        wish.answer(drawn->image, drawn->image.isNull() ? NoPicture() : Failure());
        if (!alive)
            return;
    }
}

void PictureEngine::fail(const QString& source, const Failure& failure)
{
    const QPointer<PictureEngine> alive(this);
    for (const Wish& wish : m_works.take(source).wishes) {
        wish.answer(QImage(), failure);
        if (!alive)
            return;
    }
}

} // namespace Pakmart
