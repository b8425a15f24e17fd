// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CRunAptGet
/// The runner of the package front end.
///
/// It runs one action of /usr/bin/vos-apt-get as a child process, reads its
/// output line by line and emits it as signals: the packages, their sizes, the
/// progress, errors. It keeps a private tree below the user's home, so that the
/// store's sources and package lists never touch the system's; the tree has a twin
/// ("deps") for finding the dependencies of packages.
///
///     CRunAptGet runner;
///     QObject::connect(&runner, SIGNAL(signalPackagePulse(int,int)), ...);
///     if (runner.Run('I', "libfoo bar", false, false) != 0)
///         for (const std::string& line : runner.Errors()) ...
///
/// Everything runs on the caller's thread. Events are processed while the child
/// runs, so slots of other objects run inside Run. They must not start another
/// Run on the same object.

#pragma once

#include "../request/agenterror.h"
#include "packagelists.h"

#include <QObject>
#include <cstdio>
#include <memory>
#include <string>
#include <vantrelagent/export.h>

namespace Agent
{
class TreeLock;
struct FailureReason;
} // namespace Agent

class VANTRELAGENT_EXPORT CRunAptGet : public QObject
{
    Q_OBJECT

public:
    CRunAptGet();
    ~CRunAptGet() override;

    /// Runs an action on a blank-separated list of package names:
    ///
    /// - 'A', 'I', 'U': install
    /// - 'D': list the package files that an install would download, on the deps
    ///   tree, after refreshing its sources
    /// - 'R': remove
    ///
    /// Returns 0 on success; 1 when the child exited with 0 but printed an error;
    /// otherwise the child's status as pclose gives it; 127, with nothing started, for
    /// an empty list, a missing front end, another letter, or a name that could mean
    /// more than a name on a command line (Errors() says which). A remove returns 0
    /// however it ended. `flag` has no effect; callers pass `isRetry` false.
    ///
    /// Only one run at a time works on a user's private tree. A second one waits for the
    /// first and emits signalWaitingFor; with RefuseWhenBusy, or in a slot that runs
    /// inside the first one's wait, it returns 127 and Errors() names the first.
    int Run(char action, const std::string& packages, bool flag, bool isRetry);

    /// Refreshes the package lists of a tree, without a box. False on failure: Failure()
    /// and Errors() give the reason, and the next list of sources refreshes again. Waits
    /// and can be cancelled like a run.
    bool RefreshLists(bool deps);

    /// Ends the current run or refresh as a failure: the front end is asked to end, and Run
    /// returns as soon as it has. Returns false and does nothing when CanCancel() is false.
    bool Cancel();
    /// Whether a run can be cancelled now: from its start until the package tools
    /// begin to unpack or to remove.
    bool CanCancel() const;
    /// Whether the last run was cancelled.
    bool WasCancelled() const;
    /// Why the last run failed (NoFailure if it did not), a sentence for the user, and
    /// the lines with the reason. A remove whose front end failed may still have removed
    /// some packages, or all: dpkg's status says which.
    /// @{
    AgentError::Code Failure() const;
    QString FailureSentence() const;
    QString FailureDetails() const;
    /// @}
    /// Whether a run is refused, instead of waiting for another one; false by default.
    void RefuseWhenBusy(bool refuse);

    /// Asks the server for the lists of package sources, and refreshes the package
    /// lists of each tree with a changed list. The argument has no effect: the reply
    /// says which tree. Always true.
    bool checkSources(bool deps);
    void update(bool deps); ///< the same as checkSources

    /// The folder of the package lists in the private tree or, with `deps`, in its
    /// twin; ends with '/'.
    static std::string ListsDir(bool deps);
    /// The sources file of the tree.
    static std::string SourcesFile(bool deps);
    /// The front end's options for both of these; begins with a blank.
    static std::string AptGetOptions(bool deps);
    /// Make the folders of both trees, those of one, or the folder `path` and its
    /// missing parents; false when a folder does not exist afterwards.
    /// @{
    static bool CreateAptGetDirs();
    static bool CreateListsDir(bool deps);
    static bool CreateSourcesDir(bool deps);
    static bool MkDir(const std::string& path);
    /// @}

    /// The size of the download as the front end writes it ("2,345kB"), from the last
    /// run that printed one; empty before.
    std::string TotalSize() const;
    /// The packages that the last run named, and their sizes.
    /// @{
    int PackageCount() const;
    AptGetPackages Packages() const;
    /// @}
    /// The names of the package files that the 'D' runs of this object have listed.
    PackageNameArray PackageFiles() const;
    /// All lines of the last run.
    AptGetMessages Messages() const;
    /// The lines of errors and warnings, and refused names, of all runs of this
    /// object.
    AptGetMessages Errors() const;

    /// Writes the messages to "/tmp/apt-get.out"; does nothing if that cannot be
    /// written.
    void writeFailedAptGetToFile();

    /// The parser. Lines are NUL-terminated and cut up in place; the two flags
    /// belong to the run: a list of package names is open, an error is open.
    void parseLine(char* line, int length, bool& inPackageList, bool& inErrorBlock);
    /// Reads one line of at most size - 1 characters, without control characters.
    /// Processes events meanwhile; also while it waits, if the stream does not block.
    /// False at the end of the stream.
    bool readLine(char* buffer, int size, FILE* stream, int& length);
    /// A line of package names: adds them to the map, with the size "0".
    void GetPackageNames(char* line, int length);
    /// "Need to get 2,345kB ...": the size of the whole.
    void GetTotalBytes(char* line, int length);
    /// "Get:1 SITE SECTION NAME VERSION [SIZE]": the download of a package begins,
    /// and the previous one has ended.
    void GetReceivedPackageInfo(char* line, int length);
    /// "Setting up NAME ...": the last download has ended, a package is set up.
    void GetSetupInfo(char* line, int length);
    /// "'URL' ...": the name of a package file, after the URL's last slash.
    void GetPackageFiles(char* line);
    /// "45% [2 libfoo 18%]": percent of the whole, percent of the item.
    void Pulse(char* line, int length);
    /// Move `*cursor` to the next character that is, or is not, white space, at
    /// most to the end of the text.
    /// @{
    void SkipWhite(char** cursor);
    void SkipNonWhite(char** cursor);
    /// @}

signals:
    /// The packages that will be fetched or installed.
    void signalReceivedPackageNames(const AptGetPackages& packages);
    /// The size of the whole download, as text.
    void signalReceivedTotalBytes(const std::string& size);
    /// The download of a package begins: name, size text.
    void signalBeginReceivePackage(const std::string& name, const std::string& size);
    /// Percent (0 to 100) of the current item and of the whole, as the front end reports.
    void signalPackagePulse(int itemPercent, int overallPercent);
    /// The download of that package has ended. For the last download it is emitted
    /// again with each package that is set up.
    void signalEndReceivePackage(const std::string& name);
    /// A package is being set up.
    void signalBeginInstall(const std::string& name);
    /// The run is over; emitted twice if the run is repeated.
    void signalEndInstall(const bool success);
    /// The run waits for another program: a text for the user that names it.
    void signalWaitingFor(const std::string& text);

public slots:
    /// Refreshes the package lists of a tree, with the "Setting up" box shown. Called
    /// outside a run, it waits like a run until nothing else works on the private tree; if
    /// it is refused, the next list of sources refreshes again.
    void onRunAptGetUpdate(bool deps);
    /// Advances the marker in that box.
    void onAptGetUpdateTimer();

private:
    friend class CAPIGetPackageInfo;
    friend class CAPIGetSourcesList;
    friend class CAPIInstallPackages;

    void SetHasTree(bool hasTree);
    bool CanRun(char action, const std::string& packages);
    bool HasFrontEnd();
    bool Refuse(const std::string& packages);
    void SetFailure(const Agent::FailureReason& reason);
    void JudgeRun(char action, int result);
    void onSourcesFailure(AgentError::Code code, const QString& sentence, const QString& details);
    bool TakeTree(Agent::TreeLock& tree);
    int RunOnTree(char action, const std::string& packages, bool isRetry);
    int RunPiped(char action, const std::string& packages, bool isRetry);
    void RunRemove(const std::string& packages);
    int RunChild(const std::string& command, bool& started);
    bool RunUnparsed(const std::string& arguments, AptGetMessages& lines);
    void RunWaiting(const QString& program, const std::string& arguments);
    void ReadOutput(FILE* stream);
    int NextByte(FILE* stream);
    bool AwaitOutput(FILE* stream);
    void ClearArchive();
    void ConfigurePending();
    void FinishInterrupted(const std::string& packages);
    void RunUpdate(bool deps);
    void RunUpdateOnTree(bool deps);
    static std::string RefreshMark(bool deps);
    static bool IsRefreshPending(bool deps);
    static void SetRefreshPending(bool deps, bool pending);
    void FollowProgress(const char* line);
    void ClassifyBlock(char* line, int length, bool& inPackageList, bool& inErrorBlock);
    bool ClassifyProgress(char* line, int length);

    static const std::string m_sAptGetDir;
    static const std::string m_sListsDir;
    static const std::string m_sSourcesList;

    class Private;
    const std::unique_ptr<Private> d;
};
