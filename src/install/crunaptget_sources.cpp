// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Refreshing the sources: the only place where the runner makes a request, the class of
// which uses the runner in turn.

#include "base/descriptor.h"
#include "install/capigetsourceslist.h"
#include "install/crun.h"
#include "install/crunaptget_p.h"
#include "install/privatetree.h"
#include "support/ctracer.h"
#include "util/loginstall.h"
#include "util/paths.h"
#include "util/translated.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

const char* const settingUp = QT_TRANSLATE_NOOP("Pakmart", "Setting up Pakmart\nPlease wait\n");

QString Blanks(int n)
{
    return QString(2 * std::max(n - 1, 0) + n % 2, QLatin1Char(' '));
}

// Two brackets that move apart, cross over and close in again.
QString Marker(int counter)
{
    if (counter < 11)
        return QLatin1Char('<') + Blanks(counter) + QLatin1Char('>');
    return QLatin1Char('>') + Blanks(19 - counter) + QLatin1Char('<');
}

// The box holds three lines of the user's font; it grows if they are larger than those
// that its unscaled size was made for.
QSize UpdateBoxSize(const QDialog& dialog)
{
    const QFontMetrics font(dialog.font());
    const QSize plain(337, 80);
    // The space above the capitals and below the line may be cut off.
    const int spare = std::min(font.ascent() - font.capHeight(), font.descent());
    const int text = 2 * font.lineSpacing() + font.height() - 2 * spare;
    const double lines = double(text) / (plain.height() - 23);
    const double words
        = (font.horizontalAdvance(Translated("Setting up Pakmart")) + 20.0) / plain.width();
    return plain * std::max({ 1.0, lines, words });
}

} // namespace

bool CRunAptGet::checkSources(bool)
{
    CTracer tracer("CRunAptGet::checkSources");
    auto* request = new CAPIGetSourcesList(false, true);
    connect(request, SIGNAL(signalSourcesListModified(bool)), this, SLOT(onRunAptGetUpdate(bool)));
    connect(request, &CAPI::signalFailure, this, &CRunAptGet::onSourcesFailure);
    request->SetHasTree(d->m_bInRun || d->m_bHasTree);
    d->m_pSources = request;
    request->Execute();
    return true;
}

void CRunAptGet::update(bool deps)
{
    CTracer tracer("CRunAptGet::update");
    checkSources(deps);
}

void CRunAptGet::onRunAptGetUpdate(bool deps)
{
    CTracer tracer("CRunAptGet::onRunAptGetUpdate");
    if (d->m_bCancelled)
        return;
    // A process without windows refreshes without the box.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        RunUpdate(deps);
        return;
    }
    QTimer timer;
    timer.setObjectName(QStringLiteral("tmrTimer"));
    QDialog dialog(nullptr);
    dialog.setSizeGripEnabled(false);
    dialog.setFixedSize(UpdateBoxSize(dialog));
    dialog.setWindowTitle(Translated("Setting up Pakmart"));
    QLabel label(&dialog);
    label.setGeometry(0, 0, dialog.width(), dialog.height() - dialog.height() * 23 / 80);
    label.setText(Translated(settingUp));
    label.setIndent(10);
    label.setAlignment(Qt::AlignCenter);
    label.show();
    d->m_pUpdateDialog = &dialog;
    d->m_pUpdateLabel = &label;
    connect(&timer, SIGNAL(timeout()), this, SLOT(onAptGetUpdateTimer()));
    timer.start(100);
    dialog.show();

    RunUpdate(deps);

    timer.stop();
    dialog.hide();
    d->m_pUpdateLabel = nullptr;
    d->m_pUpdateDialog = nullptr;
}

// The mark is set before the refresh and removed when it has succeeded, so that after a
// failed or killed one the next request for the sources refreshes again.
void CRunAptGet::RunUpdate(bool deps)
{
    SetRefreshPending(deps, true);
    TreeLock tree(m_sAptGetDir);
    if (d->m_bInRun || d->m_bHasTree || tree.Borrow() || TakeTree(tree))
        RunUpdateOnTree(deps);
    else
        onSourcesFailure(Failure(), FailureSentence(), QString());
}

void CRunAptGet::RunUpdateOnTree(bool deps)
{
    const TreeLock::Work work;
    CRun update(SystemPath(QStringLiteral("/usr/bin/vos-apt-get")),
                QString::fromStdString("update" + AptGetOptions(deps)), true);
    d->m_pRefresh = &update;
    const int result = update.Run();
    d->m_pRefresh = nullptr;
    if (result == 0)
        SetRefreshPending(deps, false);
    else
        onSourcesFailure(AgentError::RefreshFailed, AgentError::Sentence(AgentError::RefreshFailed),
                         QString());
    qCDebug(logInstall, "the refresh has ended with %d", result);
}

void CRunAptGet::onSourcesFailure(AgentError::Code code, const QString& sentence, const QString&)
{
    d->m_nRefreshFailure = code;
    d->m_sRefreshFailure = sentence;
}

std::string CRunAptGet::RefreshMark(bool deps)
{
    return SourcesFile(deps) + ".refresh";
}

bool CRunAptGet::IsRefreshPending(bool deps)
{
    return access(RefreshMark(deps).c_str(), F_OK) == 0;
}

void CRunAptGet::SetRefreshPending(bool deps, bool pending)
{
    const std::string mark = RefreshMark(deps);
    if (!pending) {
        unlink(mark.c_str());
        return;
    }
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    const Descriptor file(open(mark.c_str(), flags, 0644));
    if (!file && errno == ENOENT && CreateSourcesDir(deps))
        Descriptor(open(mark.c_str(), flags, 0644));
}

void CRunAptGet::onAptGetUpdateTimer()
{
    CTracer tracer("CRunAptGet::onAptGetUpdateTimer");
    static int counter = 0;
    if (!d->m_pUpdateLabel)
        return;
    counter = (counter + 1) % 20;
    d->m_pUpdateLabel->setText(Translated(settingUp) + Marker(counter));
}
