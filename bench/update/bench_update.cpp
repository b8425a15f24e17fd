// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A catalog of growing size: compares an update, from the reply to the saved file and the
// database, with just parsing the reply; reading the saved file with just parsing that; and
// a search with that of apt-cache.
//
// Usage: bench_update [INDEX]
// INDEX defaults to the largest one that apt keeps on this machine. Each task runs in a
// process of its own, so that processor time and peak memory can be attributed to it. Runs in
// a sandbox (tests/in-sandbox), where the agent's data folder is a private one.

#include "catalog/capiupdatecatalog.h"
#include "catalog/ccatalogmgr.h"
#include "request/replydocument.h"
#include "tests/common/datafolder.h"
#include "tests/common/observe.h"
#include "tests/db/debianindex.h"

#include <QApplication>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Agent;

namespace
{

const QString replyFile = QStringLiteral("reply.xml");

// ---- the reply ----

QByteArray Element(const char* name, const QByteArray& text)
{
    return QByteArray("    <") + name + '>' + QUrl::toPercentEncoding(QString::fromUtf8(text))
        + "</" + name + ">\n";
}

QByteArray ProductElement(const DebianPackage& package, int serial)
{
    QByteArray xml = "   <product name=\"" + package.name.toPercentEncoding() + "\">\n"
        + Element("serialnumber", QByteArray::number(serial)) + Element("packagename", package.name)
        + Element("briefdescription", package.description) + Element("version", package.version)
        + Element("vendor", package.maintainer) + Element("applicationdetailURL", package.homepage)
        + Element("filesize", QByteArray::number(package.size)) + "    <dependencies>\n";
    for (const QByteArray& name : package.depends)
        xml += "     <dependency name=\"" + name.toPercentEncoding() + "\"/>\n";
    return xml + "    </dependencies>\n   </product>\n";
}

QByteArray Reply(const std::vector<DebianPackage>& packages, std::size_t count)
{
    std::map<QByteArray, QByteArray> categories;
    for (std::size_t i = 0; i < count; ++i)
        categories[packages[i].section] += ProductElement(packages[i], int(i) + 1);
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<agentfunction resultcode=\"OK\">\n <catalog>\n";
    for (const auto& [name, products] : categories)
        xml += "  <category name=\"" + name + "\" serialnumber=\"1\">\n" + products
            + "  </category>\n";
    return xml + " </catalog>\n</agentfunction>\n";
}

// ---- the tasks ----

QByteArray ReadAll(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool ParseFile(const QString& name)
{
    QDomDocument document;
    return bool(document.setContent(ReadAll(name)));
}

// A whole update without the transfer; `save` and `fill` are its two halves.
bool Update(bool save, bool fill)
{
    const std::unique_ptr<CAPIUpdateCatalog> request(new CAPIUpdateCatalog(true, true));
    QDomDocument document;
    if (!ReadReplyDocument(replyFile, document))
        return false;
    QDomElement body = document.documentElement();
    QDomElement catalog = body.firstChildElement();
    if (save)
        request->onSuccessfulTransfer(&body);
    return !fill || request->ProcessVantrelCatalogRequest(catalog);
}

bool RunTask(const QByteArray& task)
{
    if (task == "parse reply")
        return ParseFile(replyFile);
    if (task == "parse file")
        return ParseFile(DataPath(QStringLiteral(".catalog")));
    if (task == "gate and parse")
        return Update(false, false);
    if (task == "and save")
        return Update(true, false);
    if (task == "update")
        return Update(true, true);
    if (task == "ReadCatalog")
        return CCatalogMgr().ReadCatalog();
    if (task == "request")
        delete new CAPIUpdateCatalog(true, true);
    return task == "nothing" || task == "request";
}

// ---- measuring ----

struct Cost {
    double seconds = 0; // of the processor
    double megabytes = 0; // at the peak
};

Cost Run(const QByteArrayList& words, bool shown = false)
{
    std::vector<char*> arguments;
    for (const QByteArray& word : words)
        arguments.push_back(const_cast<char*>(word.constData()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!shown)
            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    int status = -1;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0)
        qFatal("%s failed", words.join(' ').constData());
    const auto seconds
        = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return { seconds(usage.ru_utime) + seconds(usage.ru_stime), double(usage.ru_maxrss) / 1024 };
}

// The cheapest of several runs.
Cost Best(const QByteArrayList& words, int runs)
{
    Cost best = Run(words);
    for (int i = 1; i < runs; ++i) {
        const Cost cost = Run(words);
        if (cost.seconds < best.seconds)
            best = cost;
    }
    return best;
}

void Tell(const char* what, const Cost& cost, const char* peer, const Cost& of)
{
    std::printf("%-16s %7.3f s  %6.0f MB   %5.2f times %s, %4.2f times its memory\n", what,
                cost.seconds, cost.megabytes, cost.seconds / of.seconds, peer,
                cost.megabytes / of.megabytes);
    std::fflush(stdout);
}

// 0 products means all of them.
void Measure(const QByteArray& self, int products)
{
    // Short tasks need more runs, since other work on the machine disturbs them more.
    const int runs = products == 0 ? 3 : products > 1000 ? 7 : 25;
    // The cost of a process of this program before it does anything, and with a request
    // object; the first request of a process asks a server that is not there.
    const Cost nothing = Best({ self, "--task", "nothing" }, runs);
    const Cost request = Best({ self, "--task", "request" }, runs);
    const auto task = [&](const char* name, const Cost& before) {
        Cost cost = Best({ self, "--task", name }, runs);
        cost.seconds -= before.seconds;
        return cost;
    };
    const Cost parse = task("parse reply", nothing);
    Tell("parse reply", parse, "the parse", parse);
    for (const char* name : { "gate and parse", "and save", "update" })
        Tell(name, task(name, request), "the parse", parse);
    const Cost parseFile = task("parse file", nothing);
    Tell("ReadCatalog", task("ReadCatalog", nothing), "the parse of the file", parseFile);
}

void MeasureSearch()
{
    for (const char* words : { "text editor", "bash", "zzzz" }) {
        QByteArrayList ours{ PAKMART, "search" }, apts{ "apt-cache", "search" };
        ours += QByteArray(words).split(' ');
        apts += QByteArray(words).split(' ');
        const Cost apt = Best(apts, 5);
        Tell(("search " + QByteArray(words)).constData(), Best(ours, 5), "apt-cache", apt);
    }
}

// Writes a reply with `count` products of an index, or with all for 0. Returns the number
// of products in it.
int MakeReply(const QString& index, std::size_t count)
{
    const std::vector<DebianPackage> packages = ParseIndex(ReadIndex(index));
    if (packages.empty())
        qFatal("there is no package index to read");
    count = count == 0 ? packages.size() : std::min(count, packages.size());
    QFile file(replyFile);
    if (!file.open(QIODevice::WriteOnly) || file.write(Reply(packages, count)) < 0)
        qFatal("cannot write the reply");
    return int(count);
}

} // namespace

int main(int argc, char** argv)
{
    // The measuring process must stay small, since a process that it starts would appear to
    // be at least as large. So other processes run the tasks and make the replies.
    if (argc == 3 && QByteArray(argv[1]) == "--task") {
        const QApplication application(argc, argv);
        Setting("max reply size", "500000000");
        Setting("agent api url", "http://127.0.0.1:1/");
        return RunTask(argv[2]) ? 0 : 1;
    }
    if (argc == 4 && QByteArray(argv[1]) == "--make") {
        const QCoreApplication application(argc, argv);
        std::printf("%d products\n",
                    MakeReply(QFile::decodeName(argv[2]), QByteArray(argv[3]).toUInt()));
        return 0;
    }
    const QByteArray self
        = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget().toLocal8Bit();
    const QByteArray index = argc > 1 ? QByteArray(argv[1]) : LargestIndex().toLocal8Bit();
    if (chdir(qgetenv("TEST_DIR").constData()) != 0)
        qFatal("run this in a sandbox");
    for (const char* count : { "1000", "10000", "0" }) {
        Run({ self, "--make", index, count }, true);
        Measure(self, QByteArray(count).toInt());
    }
    MeasureSearch();
}
