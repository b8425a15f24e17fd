// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Saving replies: the content of the file, and the state of the old one after an
// interruption.

#include "catalog/cxmlnode.h"
#include "catalog/savedtree.h"
#include "tests/common/datafolder.h"
#include "tests/common/limits.h"
#include "tests/common/plainuser.h"
#include "tests/common/processes.h"

#include <QDomDocument>
#include <QRandomGenerator>
#include <QtTest>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace Agent;

namespace
{

// Makes the next sync of data fail, once, as the system reports an error.
bool nextSyncFails = false;

} // namespace

extern "C" Q_DECL_EXPORT int fdatasync(int fd)
{
    if (!std::exchange(nextSyncFails, false))
        return int(syscall(SYS_fdatasync, fd));
    errno = EIO;
    return -1;
}

namespace
{

const char treeName[] = ".kept";
const QString savedFile = QStringLiteral(".kept");

QDomElement Body(QDomDocument& document, const QByteArray& content)
{
    if (!document.setContent("<agentfunction resultcode=\"OK\">" + content + "</agentfunction>"))
        qFatal("the test's own XML is broken");
    return document.documentElement();
}

void Save(const QByteArray& content)
{
    QDomDocument document;
    SaveFirstElement(Body(document, content), treeName);
}

// A tree that is written in some hundred pieces, recognised by its letter.
QByteArray Large(char letter, int items = 4000)
{
    QByteArray text = "<all>";
    for (int i = 0; i < items; ++i)
        text += QByteArray("<item>") + QByteArray(60, letter) + "</item>";
    return text + "</all>";
}
QByteArray LargeFile(char letter)
{
    return Large(letter).replace("</item>", "</item>\n") + '\n';
}

mode_t Mode()
{
    struct stat info = {};
    return stat(qPrintable(DataPath(savedFile)), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Gives the user nobody the data folder with the mode `folder`, and the file with the
// mode `file`.
void LetNobody(mode_t folder, mode_t file)
{
    if (chmod(qPrintable(DataFolder()), folder) != 0
        || chmod(qPrintable(DataPath(savedFile)), file))
        qFatal("cannot change permissions");
}

// Sees each of its nodes as a document has them.
class DerivedNode : public CXMLNode
{
public:
    DerivedNode() : CXMLNode(nullptr) { }
    bool ReadNode(QDomNode& node) override
    {
        ++m_read;
        return CXMLNode::ReadNode(node);
    }
    int m_read = 0;
};

// Whether the children of a tree, three levels down, have their parents.
bool HasParents(CXMLNode& tree, int level = 3)
{
    for (const char* name : { "a", "b", "c", "item", "#comment", "#cdata-section" })
        for (CXMLNode* child : tree.ChildArray(name))
            if (child->Parent() != &tree || (level > 0 && !HasParents(*child, level - 1)))
                return false;
    return true;
}

std::string Written(CXMLNode& tree)
{
    std::ostringstream out;
    tree.SaveNode(out, 0);
    return out.str();
}

// A tree of random elements, texts, comments and the like.
QByteArray RandomElement(QRandomGenerator& random, int levels)
{
    const auto one = [&random](std::initializer_list<const char*> words) {
        return QByteArray(words.begin()[random.bounded(int(words.size()))]);
    };
    const QByteArray name = one({ "a", "b", "c", "item" });
    QByteArray text = '<' + name + one({ "", " k=\"%41\"", " l='\t&lt;\n' k=''" }) + '>';
    for (int i = random.bounded(5); i > 0; --i)
        text += levels > 0 && random.bounded(2)
            ? RandomElement(random, levels - 1)
            : one({ "text", " %D0%9A+%", "\n ", "&amp;x\r\ny", "<!-- - -->", "<![CDATA[ ]]>",
                    "<?pi x?>", "&unknown;", "\xD0\x9A" });
    return text + "</" + name + '>';
}

} // namespace

class SavedTreeTest : public QObject
{
    Q_OBJECT

private:
    mode_t m_mask = 0;

private slots:
    void initTestCase() { m_mask = umask(022); }
    void init()
    {
        umask(022);
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        for (const QString& name : DataFiles())
            QVERIFY(QFile::remove(DataPath(name)));
    }
    void cleanupTestCase()
    {
        init();
        umask(m_mask);
    }

    // -- the text

    // A tree may be written in pieces, but never in another order or form.
    void firstElementIsWrittenAsItsTreeIs_data()
    {
        QTest::addColumn<QByteArray>("content");
        const auto row = [](const char* name, const char* content) {
            QTest::newRow(name) << QByteArray(content);
        };
        row("nothing in it", "<a/>");
        row("text alone", "<a b=\"1\" a=\"%32+%2B\">text %41</a>");
        row("texts between children", "<a>one<b/>two<c>three</c>four<b>five<d/>six</b></a>");
        row("groups in the order of their names", "<a><z/><b n=\"1\"/><Z/><b n=\"2\"/><a/></a>");
        row("names that decode", "<a><_b/><b.c/></a>");
        row("two levels down", "<a x=\"1\"><b y=\"2\"><c>t<d/>u</c><b/><c/>v</b><b/>w</a>");
        row("five levels down", "<a><b><c><d><e>t</e><d/></d></c>v<c/></b></a>");
        row("comments and sections",
            "<a><!-- x --><b><![CDATA[ y ]]><!-- z --></b><![CDATA[</a>]]>t<c><!----></c></a>");
        row("blanks and lines", "<a>\n <b>\n  <c> x </c>\n </b>\n</a>");
        row("letters of every kind", "<a k=\"\xD0\x9A\"><b>%F0%9F%8E%B2 &lt;/a&gt; &amp;</b></a>");
    }
    void firstElementIsWrittenAsItsTreeIs()
    {
        QFETCH(QByteArray, content);
        QDomDocument document;
        const QDomElement body = Body(document, content);
        CXMLNode tree(nullptr);
        QVERIFY(ReadFirstElement(body, tree));
        QVERIFY(SaveTree(tree, treeName));
        const QByteArray whole = ReadDataFile(savedFile);
        QVERIFY(whole.endsWith("</a>\n"));
        QVERIFY(QFile::remove(DataPath(savedFile)));
        SaveFirstElement(body, treeName);
        QCOMPARE(ReadDataFile(savedFile), whole);
    }

    void firstElementIsWrittenWithoutIndentation()
    {
        Save("<all one=\"1\"><b>x y</b><a/><b><c>&lt;z&gt;</c></b></all><other/>");
        QCOMPARE(ReadDataFile(savedFile),
                 QByteArray("<all one=\"1\"><a></a>\n<b>x%20y</b>\n<b><c>%3Cz%3E</c>\n</b>\n"
                            "</all>\n"));
    }

    void aFileOfAnyRootIsReadBack()
    {
        for (const char* root : { "catalog", "aisles", "profile", "x" }) {
            const QByteArray name(root);
            Save('<' + name + "><a>1 2</a></" + name + '>');
            CXMLNode tree(nullptr);
            QVERIFY(ReadSavedTree(treeName, tree));
            QCOMPARE(tree.Name(), name.toStdString());
            QCOMPARE(tree.ChildValue("a", "?"), std::string("1 2"));
        }
    }

    void whatIsNoElementIsPassedOver()
    {
        Save("text<!-- note --><?pi x?><![CDATA[<no/>]]><all>a</all>");
        QCOMPARE(ReadDataFile(savedFile), QByteArray("<all>a</all>\n"));
    }

    void bodyWithoutAnElementLeavesTheFile()
    {
        WriteDataFile(savedFile, "old");
        for (const char* content : { "", "text", "<!-- note -->", "<![CDATA[x]]>" }) {
            Save(content);
            QCOMPARE(ReadDataFile(savedFile), QByteArray("old"));
        }
        QCOMPARE(DataFiles(), QStringList(savedFile));
    }

    void shorterTextLeavesNothingOfALongerOne()
    {
        Save(Large('a'));
        QCOMPARE(ReadDataFile(savedFile), LargeFile('a'));
        Save("<all/>");
        QCOMPARE(ReadDataFile(savedFile), QByteArray("<all></all>\n"));
    }

    void fileCutAtAnyByteIsNotTakenForWhole()
    {
        Save("<all a=\"1\"><item>x</item><item><b/></item></all>");
        const QByteArray text = ReadDataFile(savedFile);
        // All but the last line end.
        for (int size = 0; size < text.size() - 1; ++size) {
            QDomDocument document;
            QVERIFY(!document.setContent(text.left(size)));
        }
        QDomDocument document;
        QVERIFY(document.setContent(text));
    }

    // A plain tree is made without a document; one of a derived class sees the document.
    void plainTreeIsWhatADocumentWouldMake_data()
    {
        QTest::addColumn<QByteArray>("text");
        const auto row
            = [](const char* name, const QByteArray& text) { QTest::newRow(name) << text; };
        row("nothing in it", "<a/>");
        row("attributes", "<a b='1' a='%32+%2B'><b c='\t\n' d='&amp;%41'/></a>");
        row("texts", "<a>one<b/>two<c>three<a/>four</c> \n</a>");
        row("an empty text after another", "<a>one<b/> <b>two<c/> </b></a>");
        row("comments and sections", "<a><!-- x --><b>t<![CDATA[y]]></b><c><![CDATA[ ]]></c></a>");
        row("around the root", "<!-- x --><?pi y?><a>t</a><!-- z --><?pi?>");
        row("instructions", "<a><?pi y?><b><?p.i?></b></a>");
        row("entities", "<!DOCTYPE a SYSTEM 'x'><a>x&one;y<b>&two;</b></a>");
        row("names", "<x:a _k='1' y.z='2'><x:b/><c.d/></x:a>");
        row("a byte order mark", "\xEF\xBB\xBF<a>\xD0\x9A</a>");
        row("another encoding",
            "<?xml version='1.0' encoding='ISO-8859-1'?><a k='\xE4'>\xF6<b>%C3%A4</b></a>");
        row("more than one piece", Large('x'));
        QRandomGenerator random(21);
        for (int i = 0; i < 200; ++i)
            QTest::addRow("random %d", i) << "<!DOCTYPE a SYSTEM 'x'>" + RandomElement(random, 4);
    }
    void plainTreeIsWhatADocumentWouldMake()
    {
        QFETCH(QByteArray, text);
        WriteDataFile(savedFile, text);
        CXMLNode plain(nullptr);
        DerivedNode derived;
        for (CXMLNode* tree : { &plain, static_cast<CXMLNode*>(&derived) }) {
            // What is there already stays, as far as it is not set.
            tree->Name("before");
            tree->Value("before");
            tree->AddAttribute("k", "before");
            auto* const child = new CXMLNode(nullptr);
            child->Name("b");
            tree->AddChild(child);
        }
        QVERIFY(ReadSavedTree(treeName, derived) && ReadSavedTree(treeName, plain));
        QCOMPARE(derived.m_read, 1);
        QCOMPARE(Written(plain), Written(derived));
        QCOMPARE(plain.Value(), derived.Value());
        QVERIFY(HasParents(plain) && HasParents(derived));
    }

    void treeStaysWhenTheFileCannotBeRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("cut short") << QByteArray("<all><a>1</a>");
        QTest::newRow("found by the parser alone") << QByteArray("<all k='1'><a>1</b>x</all>");
        QTest::newRow("late in a large one") << Large('x').replace("</all>", "<a></b></all>");
    }
    void treeStaysWhenTheFileCannotBeRead()
    {
        QFETCH(QByteArray, text);
        WriteDataFile(savedFile, text);
        CXMLNode plain(nullptr);
        DerivedNode derived;
        for (CXMLNode* tree : { &plain, static_cast<CXMLNode*>(&derived) }) {
            tree->Name("before");
            const std::string before = Written(*tree);
            QVERIFY(!ReadSavedTree(treeName, *tree));
            QCOMPARE(Written(*tree), before);
        }
    }

    // -- permissions

    void newFileIsWrittenByItsOwnerOnly()
    {
        umask(0);
        Save("<all/>");
        QCOMPARE(Mode(), mode_t(0644));
    }

    void whatIsTheAccountsIsForItsOwnerOnly()
    {
        umask(0);
        const QString profile = DataPath(QStringLiteral(".profile"));
        QDomDocument document;
        QVERIFY(document.setContent(QByteArray("<body><all/></body>")));
        struct stat info = {};
        for (int before : { 0, 0664 }) {
            if (before != 0)
                QCOMPARE(chmod(qPrintable(profile), mode_t(before)), 0);
            SaveFirstElement(document.documentElement(), ".profile");
            QCOMPARE(stat(qPrintable(profile), &info), 0);
            QCOMPARE(int(info.st_mode & 07777), 0600);
        }
        QVERIFY(QFile::remove(profile));
    }

    void newFileObeysTheMask()
    {
        umask(027);
        Save("<all/>");
        QCOMPARE(Mode(), mode_t(0640));
    }

    void fileThatIsThereKeepsItsPermissions()
    {
        WriteDataFile(savedFile, "old");
        for (const mode_t mode : { 0600, 0666, 0644 }) {
            QCOMPARE(chmod(qPrintable(DataPath(savedFile)), mode), 0);
            Save("<all/>");
            QCOMPARE(Mode(), mode);
            QCOMPARE(ReadDataFile(savedFile), QByteArray("<all></all>\n"));
        }
    }

    void fileThatIsThereKeepsItsOwner()
    {
        // Only root can give files to others.
        const uid_t owner = geteuid() == 0 ? 1234 : geteuid();
        const gid_t group = geteuid() == 0 ? 2345 : getegid();
        WriteDataFile(savedFile, "old");
        QCOMPARE(chown(qPrintable(DataPath(savedFile)), owner, group), 0);
        Save("<all/>");
        struct stat info = {};
        QCOMPARE(stat(qPrintable(DataPath(savedFile)), &info), 0);
        QCOMPARE(info.st_uid, owner);
        QCOMPARE(info.st_gid, group);
    }

    void linkLeadsToTheFileThatIsWritten()
    {
        WriteDataFile(QStringLiteral(".other"), "old");
        QVERIFY(QFile::link(DataPath(QStringLiteral(".other")), DataPath(savedFile)));
        Save("<all/>");
        QVERIFY(QFileInfo(DataPath(savedFile)).isSymLink());
        QCOMPARE(ReadDataFile(QStringLiteral(".other")), QByteArray("<all></all>\n"));
    }

    // -- what cannot be written

    void writableFileInAnUnwritableFolderIsRewritten()
    {
        WriteDataFile(savedFile, Large('o'));
        LetNobody(0555, 0666);
        {
            const PlainUser user;
            Save("<all/>");
        }
        QCOMPARE(ReadDataFile(savedFile), QByteArray("<all></all>\n"));
        QCOMPARE(Mode(), mode_t(0666));
    }

    void unwritableFileIsLeft()
    {
        WriteDataFile(savedFile, "old");
        LetNobody(0777, 0444);
        {
            const PlainUser user;
            Save("<all/>");
        }
        QCOMPARE(ReadDataFile(savedFile), QByteArray("old"));
        QCOMPARE(DataFiles(), QStringList(savedFile));
    }

    void nothingIsMadeInAnUnwritableFolder()
    {
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x5555)));
        {
            const PlainUser user;
            Save("<all/>");
        }
        QCOMPARE(DataFiles(), QStringList());
    }

    void folderInItsPlaceIsLeft()
    {
        QVERIFY(QDir().mkdir(DataPath(savedFile)));
        CXMLNode tree(nullptr);
        tree.Name("all");
        QVERIFY(!SaveTree(tree, treeName));
        QCOMPARE(DataFiles(), QStringList());
        QVERIFY(QDir().rmdir(DataPath(savedFile)));
    }

    void missingFolderIsNotMade()
    {
        const QString away = DataFolder() + QStringLiteral(".away");
        QVERIFY(QDir().rename(DataFolder(), away));
        Save("<all/>");
        const bool made = QFile::exists(DataFolder());
        QVERIFY(QDir().rename(away, DataFolder()));
        QVERIFY(!made);
    }

    void fullDiskLeavesTheOldFile_data()
    {
        QTest::addColumn<int>("room");
        // No room, less than one write, half of the file, all but the last byte.
        for (const int room : { 0, 1, 4095, 100000, int(LargeFile('n').size()) - 1 })
            QTest::newRow(QByteArray::number(room).constData()) << room;
    }
    void fullDiskLeavesTheOldFile()
    {
        QFETCH(int, room);
        WriteDataFile(savedFile, "old");
        QDomDocument document;
        const QDomElement body = Body(document, Large('n'));
        CXMLNode tree(nullptr);
        QVERIFY(ReadFirstElement(body, tree));
        bool saved = false;
        {
            const FullDisk full{ rlim_t(room) };
            saved = SaveTree(tree, treeName);
        }
        QVERIFY(!saved);
        QCOMPARE(ReadDataFile(savedFile), QByteArray("old"));
        QCOMPARE(DataFiles(), QStringList(savedFile));
    }

    void errorOfTheDiskThatIsReportedOnceLeavesTheOldFile()
    {
        Save("<old/>");
        const QByteArray old = ReadDataFile(savedFile);
        nextSyncFails = true;
        Save(Large('b', 20000));
        QVERIFY(!nextSyncFails);
        QCOMPARE(ReadDataFile(savedFile), old);
        Save(Large('b', 20000));
        QVERIFY(ReadDataFile(savedFile).size() > 1024 * 1024);
    }

    void roomForExactlyTheFileIsEnough()
    {
        QDomDocument document;
        const QDomElement body = Body(document, Large('n'));
        CXMLNode tree(nullptr);
        QVERIFY(ReadFirstElement(body, tree));
        {
            const FullDisk full{ rlim_t(LargeFile('n').size()) };
            QVERIFY(SaveTree(tree, treeName));
        }
        QCOMPARE(ReadDataFile(savedFile), LargeFile('n'));
    }

    // -- what comes in between

    // A child saves a and b in turns until it is killed, repeatedly.
    void killedInTheMiddleTheFileIsWhole()
    {
        const QByteArray texts[] = { LargeFile('a'), LargeFile('b') };
        Save(Large('a'));
        QRandomGenerator random(7);
        for (int i = 0; i < 40; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                EndWithParent();
                for (bool turn = false;; turn = !turn)
                    Save(Large(turn ? 'a' : 'b'));
            }
            QVERIFY(child > 0);
            QTest::qSleep(int(random.bounded(1, 30)));
            QCOMPARE(kill(child, SIGKILL), 0);
            QCOMPARE(waitpid(child, nullptr, 0), child);
            const QByteArray found = ReadDataFile(savedFile);
            QVERIFY2(found == texts[0] || found == texts[1], found.left(100).constData());
        }
        // Leftovers do not disturb the next save.
        Save(Large('c'));
        QCOMPARE(ReadDataFile(savedFile), LargeFile('c'));
    }

    void twoSaversAtOnceLeaveTheOneOrTheOther()
    {
        const QByteArray texts[] = { LargeFile('a'), LargeFile('b') };
        Save(Large('a'));
        std::vector<pid_t> children;
        for (const char letter : { 'a', 'b' }) {
            const pid_t child = fork();
            if (child == 0) {
                for (int i = 0; i < 30; ++i)
                    Save(Large(letter));
                _exit(0);
            }
            children.push_back(child);
        }
        for (int i = 0; i < 100; ++i) {
            const QByteArray found = ReadDataFile(savedFile);
            QVERIFY(found == texts[0] || found == texts[1]);
        }
        for (const pid_t child : children) {
            int status = -1;
            QCOMPARE(waitpid(child, &status, 0), child);
            QCOMPARE(status, 0);
        }
        const QByteArray found = ReadDataFile(savedFile);
        QVERIFY(found == texts[0] || found == texts[1]);
        QCOMPARE(DataFiles(), QStringList(savedFile));
    }
};

QTEST_GUILESS_MAIN(SavedTreeTest)
#include "tst_savedtree.moc"
