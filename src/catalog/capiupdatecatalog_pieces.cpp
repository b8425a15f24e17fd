// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The update of file and database in one pass over the reply's file.
//
// The file is replaced before the database, and both only after the whole reply was read: until
// then nothing has happened, and a reply that does not fit is left to the update with a document.
// If another process is updating the database, the file is saved alone before the wait, and the
// reply is read again afterwards.

#include "catalog/capiupdatecatalog.h"

#include "catalog/catalogmark.h"
#include "catalog/catalogproduct.h"
#include "catalog/savedpieces.h"
#include "catalog/savedtree.h"
#include "db/ccatalogfile.h"
#include "db/dboptions.h"
#include "db/rebuild.h"
#include "request/replypieces.h"
#include "request/takenreply.h"
#include "support/ctracer.h"

#include <QIODevice>
#include <algorithm>
#include <optional>
#include <vector>

using namespace Agent;

namespace
{

constexpr char savedName[] = ".catalog";

// Why a pass has ended before the reply's end. Thrown through the update of the database, which
// then drops the new one.
enum class Ended { NotInPieces, NotSaved, Stopped };

// Writes what it takes into a saved file, and records it in a database; each may be null.
class Pieces : public PieceTaker
{
public:
    Pieces(std::ostream* out, CCatalogFile* file) : m_out(out), m_file(file) { }

    bool Divides(const ReplyNode& element) override
    {
        return element.words == QLatin1String("category");
    }
    void Start(const ReplyNode& element) override
    {
        m_open.push_back(element);
        if (m_out)
            SaveStart(element, *m_out);
        if (IsInCategory())
            m_blank = BlankProduct(element);
    }
    void Take(const ReplyNode& piece) override
    {
        if (m_out)
            SavePiece(piece, *m_out);
        if (m_file && IsInCategory())
            ForEachProductIn(piece, m_blank, [this](const CatalogProduct& product) {
                RecordProduct(product, *m_file);
            });
    }
    void End() override
    {
        if (m_out)
            SaveEnd(m_open.back(), *m_out);
        m_open.pop_back();
    }

private:
    // The catalog is the first one.
    bool IsInCategory() const { return m_open.size() > 1; }

    std::ostream* const m_out;
    CCatalogFile* const m_file;
    std::vector<ReplyNode> m_open;
    CatalogProduct m_blank;
};

} // namespace

// The reading of the reply, once or twice.
class CAPIUpdateCatalog::Pass
{
public:
    Pass(CAPIUpdateCatalog& request, QIODevice& reply, const GoOn& goOn)
        : m_request(request), m_reply(reply), m_goOn(goOn)
    {
    }

    // Saves the reply, and records it in `file` unless that is null.
    void SaveInto(CCatalogFile* file)
    {
        if (m_saved) {
            if (!Read(nullptr, file))
                throw m_stopped ? Ended::Stopped : Ended::NotSaved;
            return;
        }
        const Saving saving
            = SavePieces(savedName, m_own, [&](std::ostream& out) { return Read(&out, file); });
        m_saved = saving == Saving::Done;
        if (!m_saved)
            throw m_stopped                ? Ended::Stopped
                : saving == Saving::Failed ? Ended::NotSaved
                                           : Ended::NotInPieces;
    }
    // For an update of the database that waits, or has failed, without a further try.
    bool SaveAlone()
    try {
        if (!m_saved && !m_ended)
            SaveInto(nullptr);
        return m_saved;
    } catch (const Ended ended) {
        m_ended = ended;
        return false;
    }
    Ended HowEnded() const { return *m_ended; }
    const struct stat& Own() const { return m_own; }
    bool IsStopped()
    {
        const auto size = double(std::max(m_reply.size(), qint64(1)));
        return !m_request.KeepsGoing(double(m_reply.pos()) / size);
    }

private:
    // Once the file is saved, the request can be stopped, but no longer interrupted.
    bool Read(std::ostream* out, CCatalogFile* file)
    {
        Pieces pieces(out, file);
        return ReadPieces(m_reply, pieces, [this] {
            const bool goesOn = m_goOn() || m_saved;
            m_stopped = IsStopped();
            return goesOn && !m_stopped;
        });
    }

    CAPIUpdateCatalog& m_request;
    QIODevice& m_reply;
    const GoOn& m_goOn;
    bool m_saved = false;
    struct stat m_own = {}; // of the saved file
    std::optional<Ended> m_ended; // when it was saved alone
    bool m_stopped = false;
};

void CAPIUpdateCatalog::TakeInPieces()
{
    TakesReplyFile([this](QIODevice& file, const std::function<bool()>& goOn) {
        return UpdateInPieces(file, goOn);
    });
}

bool CAPIUpdateCatalog::KeepsGoing(double)
{
    return true;
}

void CAPIUpdateCatalog::Fail(AgentError::Code code, const QString& details)
{
    m_bSucceeded = false;
    SetFailure(code, QString(), details);
}

// False if the reply is left to an update with a document.
bool CAPIUpdateCatalog::UpdateInPieces(QIODevice& file, const std::function<bool()>& goOn)
try {
    CTracer tracer("CAPIUpdateCatalog::UpdateInPieces");
    Pass pass(*this, file, goOn);
    const unsigned aborted = AbortCount();
    const auto wait = [&] { return pass.SaveAlone() && Wait(aborted); };
    const auto fill = [&pass](CCatalogFile& database) { pass.SaveInto(&database); };
    const bool recorded = RebuildCatalogDatabase(*m_options, fill, wait);
    // The update may have ended before it got to the reply.
    if (!pass.SaveAlone())
        throw pass.HowEnded();
    if (!recorded)
        Fail(pass.IsStopped() ? AgentError::Cancelled : AgentError::CannotWrite, SavedTreePath(""));
    else if (m_options->folder.empty())
        NoteCatalog(Taken(), pass.Own());
    return true;
} catch (const Ended ended) {
    if (ended == Ended::Stopped)
        Fail(AgentError::Cancelled, SavedTreePath(""));
    else if (ended == Ended::NotSaved)
        Fail(AgentError::CannotWrite, SavedTreePath(savedName));
    return ended != Ended::NotInPieces;
}
