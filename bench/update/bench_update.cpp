// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A catalog of growing size: compares an update, from the reply to the saved file and the
// database, with just parsing the reply, and so a whole update, from the start of the process
// over the transfer to its end, by the clock; reading the saved file with just parsing that; and
// a search with that of apt-cache.
//
// Usage: bench_update [INDEX [COUNT...]]
//        bench_update --whole PAIRS [INDEX [COUNT...]]
// INDEX defaults to the largest one that apt keeps on this machine, and the counts of products
// to 1000, 10000 and (as 0) those of the index; a larger one makes an archive up. Each task runs in
// a process of its own, so that processor time and peak memory can be attributed to it. With
// --whole only the parse and `pakmart update` take turns, and the medians are printed. Runs in a
// sandbox (tests/in-sandbox), where the agent's data folder is a private one.

#include "catalog/capiupdatecatalog.h"
#include "catalog/ccatalogmgr.h"
#include "request/replydocument.h"
#include "tests/common/datafolder.h"
#include "tests/common/observe.h"
#include "tests/common/scriptedserver.h"
#include "tests/db/debianindex.h"

#include <QApplication>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
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

// More products than packages are the same again under other names: an archive that is made up.
QByteArray Reply(const std::vector<DebianPackage>& packages, std::size_t count)
{
    std::map<QByteArray, QByteArray> categories;
    for (std::size_t i = 0; i < count; ++i) {
        DebianPackage package = packages[i % packages.size()];
        if (i >= packages.size())
            package.name += "-" + QByteArray::number(qulonglong(i / packages.size()));
        categories[package.section] += ProductElement(package, int(i) + 1);
    }
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

// An update by a class that fills the database as well.
class WholeUpdate : public CAPIUpdateCatalog
{
public:
    explicit WholeUpdate(bool inPieces) : CAPIUpdateCatalog(true, true)
    {
        if (inPieces)
            TakeInPieces();
    }
    void onSuccessfulTransfer(QDomElement* body) override
    {
        CAPIUpdateCatalog::onSuccessfulTransfer(body);
        QDomElement catalog = body->firstChildElement();
        m_bSucceeded = ProcessVantrelCatalogRequest(catalog);
    }
};

bool UpdateFromServer(bool inPieces)
{
    bool succeeded = false;
    auto* const request = new WholeUpdate(inPieces);
    QObject::connect(request, &CAPI::APIComplete, qApp,
                     [&succeeded](bool success) { succeeded = success; });
    return request->Execute() && succeeded;
}

bool RunTask(const QByteArray& task)
{
    if (task == "update in pieces" || task == "with a document")
        return UpdateFromServer(task == "update in pieces");
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
    double wall = 0;
    double megabytes = 0; // at the peak
};

Cost Run(const QByteArrayList& words, bool shown = false)
{
    std::vector<char*> arguments;
    for (const QByteArray& word : words)
        arguments.push_back(const_cast<char*>(word.constData()));
    arguments.push_back(nullptr);
    const auto begin = std::chrono::steady_clock::now();
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
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    return { seconds(usage.ru_utime) + seconds(usage.ru_stime), wall.count(),
             double(usage.ru_maxrss) / 1024 };
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

// By the clock, and with all that the process does.
void TellWhole(const char* what, const Cost& cost, const Cost& parse)
{
    std::printf("%-16s %7.3f s of the clock, %.3f of the processor, %.0f MB   %.2f times the "
                "whole process of the parse\n",
                what, cost.wall, cost.seconds, cost.megabytes, cost.wall / parse.wall);
    std::fflush(stdout);
}

// A server in a process of its own: the directory and the reply, as the file is at the moment.
class Server
{
public:
    explicit Server(const QByteArray& self)
    {
        int ends[2];
        if (pipe(ends) != 0 || (m_child = fork()) < 0)
            qFatal("cannot start a server");
        if (m_child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl(self.constData(), self.constData(), "--serve", nullptr);
            _exit(127);
        }
        ::close(ends[1]);
        char url[200] = {};
        if (read(ends[0], url, sizeof url - 1) <= 0)
            qFatal("the server does not start");
        ::close(ends[0]);
        setenv("BENCH_API", url, 1);
    }
    ~Server()
    {
        kill(m_child, SIGTERM);
        waitpid(m_child, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

private:
    pid_t m_child = -1;
};

int Serve()
{
    ScriptedServer server;
    server.answer("/api",
                  ScriptedServer::http("<agentfunction resultcode=\"OK\"><getagentapi><api><name>"
                                       "CAPIUpdateCatalog</name><url>"
                                       + server.url("/f")
                                       + "</url></api></getagentapi></agentfunction>"));
    server.answer("/f", [](QTcpSocket* socket, const QByteArray&) {
        socket->write(ScriptedServer::http(ReadAll(replyFile)));
        socket->disconnectFromHost();
    });
    const QByteArray url = server.url("/api");
    return write(STDOUT_FILENO, url.constData(), std::size_t(url.size())) == url.size()
        ? QCoreApplication::exec()
        : 1;
}

// 0 products means all of them.
void Measure(const QByteArray& self, int products)
{
    // Short tasks need more runs, since other work on the machine disturbs them more.
    const int runs = products > 100000 ? 1 : products == 0 ? 3 : products > 1000 ? 7 : 25;
    // The cost of a process of this program before it does anything, and with a request
    // object; the first request of a process asks the server for its directory.
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
    for (const char* name : { "update in pieces", "with a document" })
        TellWhole(name, Best({ self, "--task", name }, runs),
                  Best({ self, "--task", "parse reply" }, runs));
    TellWhole("pakmart update", Best({ PAKMART, "update" }, runs),
              Best({ self, "--task", "parse reply" }, runs));
    const Cost parseFile = task("parse file", nothing);
    Tell("ReadCatalog", task("ReadCatalog", nothing), "the parse of the file", parseFile);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The parse and the whole update in turns. Before them an update that counts for nothing, so that
// each of the others replaces and compares a catalog of the same size.
void MeasureWhole(const QByteArray& self, int pairs)
{
    Run({ self, "--task", "nothing" }); // makes the settings
    Run({ PAKMART, "update" });
    std::vector<double> clock, processor, memory, seconds, parsed, memoryOfParse;
    for (int i = 0; i < pairs; ++i) {
        const Cost parse = Run({ self, "--task", "parse reply" });
        const Cost update = Run({ PAKMART, "update" });
        clock.push_back(update.wall / parse.wall);
        processor.push_back(update.seconds / parse.seconds);
        memory.push_back(update.megabytes);
        memoryOfParse.push_back(parse.megabytes);
        seconds.push_back(update.wall);
        parsed.push_back(parse.wall);
    }
    std::printf("pakmart update   %.2f of the parse's time by the clock, %.2f of the processor's "
                "(%.2f and %.2f s by the clock)\n"
                "                 %.0f MB, the parse %.0f MB\n",
                Median(clock), Median(processor), Median(seconds), Median(parsed), Median(memory),
                Median(memoryOfParse));
    std::fflush(stdout);
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
    if (count == 0)
        count = packages.size();
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
        Setting("max reply size", "1500000000");
        Setting("agent api url", qEnvironmentVariable("BENCH_API").toStdString());
        return RunTask(argv[2]) ? 0 : 1;
    }
    if (argc == 2 && QByteArray(argv[1]) == "--serve") {
        const QCoreApplication application(argc, argv);
        return Serve();
    }
    if (argc == 4 && QByteArray(argv[1]) == "--make") {
        const QCoreApplication application(argc, argv);
        std::printf("%d products\n",
                    MakeReply(QFile::decodeName(argv[2]), QByteArray(argv[3]).toUInt()));
        return 0;
    }
    const QByteArray self
        = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget().toLocal8Bit();
    const int pairs = argc > 2 && QByteArray(argv[1]) == "--whole" ? std::atoi(argv[2]) : 0;
    if (pairs > 0) {
        argc -= 2;
        argv += 2;
    }
    const QByteArray index = argc > 1 ? QByteArray(argv[1]) : LargestIndex().toLocal8Bit();
    if (chdir(qgetenv("TEST_DIR").constData()) != 0)
        qFatal("run this in a sandbox");
    const Server server(self);
    const QByteArrayList counts
        = argc > 2 ? QByteArrayList(argv + 2, argv + argc) : QByteArrayList{ "1000", "10000", "0" };
    for (const QByteArray& count : counts) {
        Run({ self, "--make", index, count }, true);
        if (pairs > 0)
            MeasureWhole(self, pairs);
        else
            Measure(self, count.toInt());
    }
    if (argc <= 2 && pairs == 0)
        MeasureSearch();
}
