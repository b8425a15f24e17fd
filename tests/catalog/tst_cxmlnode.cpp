// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The tree of XML elements.

#include "catalog/cxmlnode.h"

#include "support/ctracer.h"

#include <QDomDocument>
#include <QtTest>
#include <algorithm>
#include <iostream>
#include <sstream>

namespace
{

// Counts the live objects.
class Counted : public CXMLNode
{
public:
    explicit Counted(const char* name) : CXMLNode(nullptr)
    {
        Name(name);
        ++alive;
    }
    ~Counted() override { --alive; }
    using CXMLNode::Name;
    static int alive;
};
int Counted::alive = 0;

// Writes a text of its own.
class Loud : public CXMLNode
{
public:
    Loud() : CXMLNode(nullptr) { }
    void SaveNode(std::ostream& out, int level) override { out << "loud " << level << '\n'; }
};

// Records the calls of its setters.
class Attentive : public CXMLNode
{
public:
    Attentive() : CXMLNode(nullptr) { }
    using CXMLNode::Name;
    using CXMLNode::Parent;
    using CXMLNode::Value;
    void Name(const std::string& name) override
    {
        heard += "name=" + name + ';';
        CXMLNode::Name(name);
    }
    void Value(const std::string& value) override
    {
        heard += "value=" + value + ';';
        CXMLNode::Value(value);
    }
    void Parent(CXMLNode* parent) override
    {
        heard += "parent;";
        CXMLNode::Parent(parent);
    }
    void BuildAttributes(QDomNode& node) override
    {
        heard += "attributes;";
        CXMLNode::BuildAttributes(node);
    }
    std::string heard;
};

// Counts flushes of its stream.
class FlushCounter : public std::stringbuf
{
public:
    int flushes = 0;

protected:
    int sync() override
    {
        ++flushes;
        return 0;
    }
};

CXMLNode* Child(CXMLNode& parent, const char* name, const char* value = "")
{
    auto* child = new CXMLNode(nullptr);
    child->Name(name);
    child->Value(value);
    parent.AddChild(child);
    return child;
}

std::string Saved(CXMLNode& node, int level = 0)
{
    std::ostringstream out;
    node.SaveNode(out, level);
    return out.str();
}

bool Read(CXMLNode& node, const QString& xml)
{
    QDomDocument document;
    if (!document.setContent(xml))
        qFatal("a test document is not well formed");
    QDomNode root = document.documentElement();
    return node.ReadNode(root);
}

std::vector<std::string> Keys(const std::vector<CXMLNode*>& nodes)
{
    std::vector<std::string> keys;
    for (const CXMLNode* node : nodes)
        keys.push_back(node->Attribute("k", ""));
    return keys;
}

} // namespace

class CXMLNodeTest : public QObject
{
    Q_OBJECT

private slots:
    void newNodeIsEmptyAndKnowsItsParent()
    {
        CXMLNode parent(nullptr);
        const CXMLNode node(&parent);
        QCOMPARE(node.Parent(), &parent);
        QCOMPARE(node.Name(), std::string());
        QCOMPARE(node.Value(), std::string());
        QCOMPARE(node.ChildCount(), 0);
        QCOMPARE(parent.ChildCount(), 0);
    }

    void childCountCountsNamesNotNodes()
    {
        CXMLNode node(nullptr);
        for (int i = 0; i < 3; ++i)
            Child(node, "item");
        QCOMPARE(node.ChildCount(), 1);
        QCOMPARE(node.ChildArray("item").size(), std::size_t(3));
    }

    void childValueOfAMissingGroupMakesTheGroup()
    {
        CXMLNode node(nullptr);
        node.Name("n");
        QVERIFY(!node.ChildExists("missing"));
        QCOMPARE(node.ChildValue("missing", "x"), std::string("x"));
        QVERIFY(node.ChildExists("missing"));
        QCOMPARE(node.ChildCount(), 1);
        QCOMPARE(Saved(node), std::string("<n></n>\n"));
    }

    void childArrayOfAMissingGroupMakesTheGroup()
    {
        CXMLNode node(nullptr);
        QVERIFY(node.ChildArray("missing").empty());
        QVERIFY(node.ChildExists("missing"));
        QVERIFY(!node.ChildExists("Missing"));
    }

    void childValueOfAnEmptyChildIsEmpty()
    {
        CXMLNode node(nullptr);
        Child(node, "a");
        Child(node, "a", "two");
        QCOMPARE(node.ChildValue("a", "x"), std::string());
    }

    void derivedNodesHearOfTheirSetters()
    {
        Attentive node;
        CXMLNode& base = node;
        QVERIFY(Read(base, QStringLiteral("<a>x%41</a>")));
        QCOMPARE(node.heard, std::string("name=a;attributes;value=xA;"));
        node.heard.clear();
        CXMLNode other(nullptr);
        other.Name("n");
        other.Value("v");
        base = other;
        QCOMPARE(node.heard, std::string("name=n;value=v;"));
        auto* child = new Attentive;
        other.AddChild(child);
        QCOMPARE(child->heard, std::string("parent;"));
    }

    void childValueIsThatOfTheFirst()
    {
        CXMLNode node(nullptr);
        Child(node, "a", "one");
        Child(node, "a", "two");
        QCOMPARE(node.ChildValue("a", "x"), std::string("one"));
    }

    void numberAttributeIsOneCharacter()
    {
        CXMLNode node(nullptr);
        node.AddAttribute("n", 65);
        QCOMPARE(node.Attribute("n", "?"), std::string("A"));
        node.AddAttribute("n", 300);
        QCOMPARE(node.Attribute("n", "?"), std::string(","));
        node.AddAttribute("n", 256);
        QCOMPARE(node.Attribute("n", "?"), std::string(1, '\0'));
    }

    void emptyAttributeIsKeptAndWritten()
    {
        CXMLNode node(nullptr);
        node.Name("n");
        node.AddAttribute("e", std::string());
        QVERIFY(node.AttributeExists("e"));
        QVERIFY(!node.AttributeExists("E"));
        QCOMPARE(node.Attribute("e", "default"), std::string());
        QCOMPARE(node.Attribute("f", "default"), std::string("default"));
        QCOMPARE(Saved(node), std::string("<n e=\"\"></n>\n"));
        node.DeleteAttribute("e");
        node.DeleteAttribute("e");
        QVERIFY(!node.AttributeExists("e"));
    }

    void lastTextBecomesTheValue()
    {
        CXMLNode node(nullptr);
        QVERIFY(Read(node, QStringLiteral("<a>x<b/>y</a>")));
        QCOMPARE(node.Name(), std::string("a"));
        QCOMPARE(node.Value(), std::string("y"));
        QCOMPARE(node.ChildCount(), 1);
        QCOMPARE(node.ChildArray("b").size(), std::size_t(1));
        QCOMPARE(node.ChildArray("b")[0]->Parent(), &node);
    }

    void textIsRecognisedWhateverItsCase()
    {
        QDomDocument document;
        QDomElement element = document.createElement(QStringLiteral("a"));
        QDomElement odd = document.createElement(QStringLiteral("#TEXT"));
        odd.appendChild(document.createTextNode(QStringLiteral("t%41")));
        element.appendChild(odd);
        CXMLNode node(nullptr);
        QVERIFY(node.ReadNode(element));
        QCOMPARE(node.Value(), std::string("tA"));
        QCOMPARE(node.ChildCount(), 0);
    }

    void namesValuesAndAttributesAreDecoded()
    {
        CXMLNode node(nullptr);
        QVERIFY(Read(node, QStringLiteral("<r p='a+b%2Bc' e=''>x\\+y%C3%A9</r>")));
        QCOMPARE(node.Attribute("p", "?"), std::string("a b+c"));
        QCOMPARE(node.Attribute("e", "?"), std::string());
        QCOMPARE(node.Value(), std::string("x+y\xC3\xA9"));
        QDomDocument document;
        QDomElement named = document.createElement(QStringLiteral("a%20b"));
        // The names of attributes are not decoded.
        named.setAttribute(QStringLiteral("a+b%41"), QStringLiteral("x+y"));
        CXMLNode other(nullptr);
        QVERIFY(other.ReadNode(named));
        QCOMPARE(other.Name(), std::string("a b"));
        QCOMPARE(other.Attribute("a+b%41", "?"), std::string("x y"));
        QVERIFY(!other.AttributeExists("a bA"));
    }

    void otherKindsOfNodesBecomeChildren()
    {
        CXMLNode node(nullptr);
        QVERIFY(Read(node, QStringLiteral("<r><!--c--><![CDATA[d]]><?pi e?></r>")));
        QVERIFY(node.ChildExists("#comment"));
        QVERIFY(node.ChildExists("#cdata-section"));
        QVERIFY(node.ChildExists("pi"));
        QCOMPARE(node.Value(), std::string());
    }

    void readingAddsToWhatIsThere()
    {
        CXMLNode node(nullptr);
        Child(node, "b");
        node.AddAttribute("k", std::string("old"));
        QVERIFY(Read(node, QStringLiteral("<a k='new'><b/></a>")));
        QCOMPARE(node.ChildArray("b").size(), std::size_t(2));
        QCOMPARE(node.Attribute("k", "?"), std::string("new"));
    }

    void savesTheExactBytes()
    {
        CXMLNode root(nullptr);
        root.Name("root");
        Child(root, "item", "a b")->AddAttribute("id", std::string("7"));
        QCOMPARE(Saved(root), std::string("<root> <item id=\"7\">a%20b </item>\n</root>\n"));
    }

    void namesAreWrittenAsTheyStand()
    {
        CXMLNode root(nullptr);
        root.Name("a b%");
        root.AddAttribute("c d&", std::string("e f"));
        Child(root, "g h", "i j");
        QCOMPARE(Saved(root, -1), std::string("<a b% c d&=\"e%20f\"><g h>i%20j</g h>\n</a b%>\n"));
    }

    void savesGroupsAndAttributesInOrderOfTheirNames()
    {
        CXMLNode root(nullptr);
        root.Name("r");
        root.AddAttribute("b", std::string("<&\">"));
        root.AddAttribute("B", std::string("2"));
        Child(root, "z", "1");
        Child(root, "a", "2");
        Child(root, "z", "3");
        QCOMPARE(Saved(root, -1),
                 std::string("<r B=\"2\" b=\"%3C%26%22%3E\">"
                             "<a>2</a>\n<z>1</z>\n<z>3</z>\n</r>\n"));
    }

    void levelMinusOneWritesNoBlanksAtAnyDepth()
    {
        CXMLNode root(nullptr);
        root.Name("a");
        Child(*Child(root, "b"), "c");
        QCOMPARE(Saved(root, -1), std::string("<a><b><c></c>\n</b>\n</a>\n"));
        QCOMPARE(Saved(root, -7), Saved(root, -1));
        root.AddChild(new Loud);
        QVERIFY(Saved(root, -7).find("loud -1\n") != std::string::npos);
    }

    void levelTwoIndentsByTwoAndChildrenByThree()
    {
        CXMLNode root(nullptr);
        root.Name("a");
        Child(root, "b");
        QCOMPARE(Saved(root, 2), std::string("  <a>   <b>   </b>\n  </a>\n"));
    }

    void flushesAfterEachElement()
    {
        CXMLNode root(nullptr);
        root.Name("a");
        Child(root, "b");
        Child(root, "c");
        FlushCounter buffer;
        std::ostream out(&buffer);
        root.SaveNode(out, 0);
        QCOMPARE(buffer.flushes, 3);
    }

    void subclassesAreWrittenByTheirOwn()
    {
        CXMLNode root(nullptr);
        root.Name("a");
        root.AddChild(new Loud);
        QCOMPARE(Saved(root, 4), std::string("    <a>loud 5\n    </a>\n"));
    }

    void dumpWritesToStandardOutput()
    {
        std::ostringstream seen;
        std::streambuf* const before = std::cout.rdbuf(seen.rdbuf());
        CXMLNode node(nullptr);
        node.Name("n");
        node.Dump(1);
        std::cout.rdbuf(before);
        QCOMPARE(seen.str(), std::string(" <n> </n>\n"));
    }

    void addChildSetsTheParentAndIgnoresNull()
    {
        CXMLNode node(nullptr);
        node.AddChild(nullptr);
        QCOMPARE(node.ChildCount(), 0);
        CXMLNode* const child = Child(node, "a");
        QCOMPARE(child->Parent(), &node);
        child->Name("b");
        QCOMPARE(node.ChildArray("a").size(), std::size_t(1));
        QVERIFY(!node.ChildExists("b"));
    }

    void deleteChildByPointer()
    {
        CXMLNode node(nullptr);
        auto* const first = new Counted("c");
        node.AddChild(first);
        node.AddChild(new Counted("c"));
        node.DeleteChild(static_cast<CXMLNode*>(nullptr));
        CXMLNode stranger(nullptr);
        stranger.Name("c");
        node.DeleteChild(&stranger);
        stranger.Name("none");
        node.DeleteChild(&stranger);
        QVERIFY(!node.ChildExists("none"));
        QCOMPARE(Counted::alive, 2);
        node.DeleteChild(first);
        QCOMPARE(Counted::alive, 1);
        QCOMPARE(node.ChildArray("c").size(), std::size_t(1));
    }

    void deleteFirstOfAGroup()
    {
        CXMLNode node(nullptr);
        Child(node, "c", "one");
        Child(node, "c", "two");
        node.DeleteChild("c", false);
        QCOMPARE(node.ChildArray("c").size(), std::size_t(1));
        QCOMPARE(node.ChildValue("c", "?"), std::string("two"));
    }

    void deleteAllOfAGroupLeavesItEmpty()
    {
        CXMLNode node(nullptr);
        node.AddChild(new Counted("c"));
        node.AddChild(new Counted("c"));
        node.DeleteChild("c", true);
        QCOMPARE(Counted::alive, 0);
        QVERIFY(node.ChildExists("c"));
        QVERIFY(node.ChildArray("c").empty());
        node.DeleteChild("c", false);
        node.DeleteChild("absent", true);
        QVERIFY(!node.ChildExists("absent"));
    }

    void deletingTracesItsScopes()
    {
        std::vector<std::string> seen;
        const CTracer::Sink before
            = CTracer::SetSink([&seen](CTracer::Event event, const std::string& text) {
                  if (event == CTracer::Event::Enter)
                      seen.push_back(text);
              });
        CXMLNode node(nullptr);
        node.DeleteChild(static_cast<CXMLNode*>(nullptr));
        node.DeleteChild("x", true);
        CTracer::SetSink(before);
        QCOMPARE(seen,
                 (std::vector<std::string>{ "CXMLNode::DeleteChild(CXMLNode *)",
                                            "CXMLNode::DeleteChild(const std::string &, bool)" }));
    }

    void theRootDeletesItsSubtree()
    {
        {
            CXMLNode root(nullptr);
            auto* const child = new Counted("a");
            root.AddChild(child);
            child->AddChild(new Counted("b"));
            QCOMPARE(Counted::alive, 2);
        }
        QCOMPARE(Counted::alive, 0);
    }

    void cleanUpEmptiesAllButTheParent()
    {
        CXMLNode parent(nullptr);
        CXMLNode node(&parent);
        node.Name("n");
        node.Value("v");
        node.AddAttribute("a", std::string("b"));
        node.AddChild(new Counted("c"));
        node.CleanUp();
        QCOMPARE(Counted::alive, 0);
        QCOMPARE(node.Parent(), &parent);
        QCOMPARE(Saved(node), std::string("<></>\n"));
        QCOMPARE(node.ChildCount(), 0);
    }

    void copyingSharesTheChildren()
    {
        CXMLNode parent(nullptr);
        CXMLNode from(&parent);
        from.Name("n");
        from.Value("v");
        from.AddAttribute("a", std::string("b"));
        from.AddChild(new Counted("c"));
        CXMLNode other(nullptr);
        CXMLNode to(&other);
        to.AddChild(new Counted("old"));
        to = from;
        QCOMPARE(Counted::alive, 1);
        QCOMPARE(to.Parent(), &other);
        QCOMPARE(Saved(to), Saved(from));
        QCOMPARE(to.ChildArray("c"), from.ChildArray("c"));
        CXMLNode made(from);
        QCOMPARE(made.ChildArray("c"), from.ChildArray("c"));
        made.ShareNothing();
        from.ShareNothing();
        QCOMPARE(from.ChildCount(), 0);
    }

    void assigningToItselfKeepsTheNode()
    {
        CXMLNode node(nullptr);
        node.Name("n");
        node.AddChild(new Counted("c"));
        CXMLNode& same = node;
        node = same;
        QCOMPARE(Counted::alive, 1);
        QCOMPARE(node.Name(), std::string("n"));
    }

    void sortsByAttributeAsText()
    {
        CXMLNode root(nullptr);
        for (const char* key : { "9", "10", "b", "A", "" })
            Child(root, "c")->AddAttribute("k", std::string(key));
        const std::vector<CXMLNode*> own = root.ChildArray("c");
        std::vector<CXMLNode*> nodes = own;
        CXMLNode::SortChildrenByAttribute(nodes, "k", false, false);
        QCOMPARE(Keys(nodes), (std::vector<std::string>{ "", "10", "9", "A", "b" }));
        CXMLNode::SortChildrenByAttribute(nodes, "k", true, false);
        QCOMPARE(Keys(nodes), (std::vector<std::string>{ "b", "A", "9", "10", "" }));
        QCOMPARE(root.ChildArray("c"), own);
    }

    void sortsWithoutRegardToCase()
    {
        CXMLNode root(nullptr);
        for (const char* key : { "b", "C", "a" })
            Child(root, "c")->AddAttribute("k", std::string(key));
        std::vector<CXMLNode*> nodes = root.ChildArray("c");
        CXMLNode::SortChildrenByAttribute(nodes, "k", false, true);
        QCOMPARE(Keys(nodes), (std::vector<std::string>{ "a", "b", "C" }));
        CXMLNode::SortChildrenByAttribute(nodes, "k", false, false);
        QCOMPARE(Keys(nodes), (std::vector<std::string>{ "C", "a", "b" }));
        // Characters between the capital and the small letters sort after both.
        for (const char* key : { "_", "[", "z" }) {
            nodes.push_back(Child(root, "c"));
            nodes.back()->AddAttribute("k", std::string(key));
        }
        CXMLNode::SortChildrenByAttribute(nodes, "k", false, true);
        QCOMPARE(Keys(nodes), (std::vector<std::string>{ "a", "b", "C", "z", "[", "_" }));
    }

    void sortingByAnAttributeNobodyHasKeepsAllNodes()
    {
        CXMLNode root(nullptr);
        for (int i = 0; i < 1000; ++i)
            Child(root, "c");
        for (const bool reverse : { false, true }) {
            std::vector<CXMLNode*> nodes = root.ChildArray("c");
            CXMLNode::SortChildrenByAttribute(nodes, "none", reverse, false);
            std::vector<CXMLNode*> all = root.ChildArray("c");
            QVERIFY(std::is_permutation(nodes.begin(), nodes.end(), all.begin(), all.end()));
        }
    }

    void reverseComparisonIsTheNegation()
    {
        CXMLNode a(nullptr), b(nullptr);
        a.AddAttribute("k", std::string("1"));
        b.AddAttribute("k", std::string("2"));
        std::vector<CXMLNode*> none;
        CXMLNode::SortChildrenByAttribute(none, "k", true, false);
        const CXMLNodeCompare compare;
        QVERIFY(!compare(&a, &b));
        QVERIFY(compare(&b, &a));
        QVERIFY(compare(&a, &a));
        CXMLNodeCompare::m_bReverseOrder = false;
        QVERIFY(compare(&a, &b));
        QVERIFY(!compare(&a, &a));
    }

    void depth512IsSafe()
    {
        QString xml;
        for (int i = 0; i < 512; ++i)
            xml += QStringLiteral("<e>");
        for (int i = 0; i < 512; ++i)
            xml += QStringLiteral("</e>");
        CXMLNode node(nullptr);
        QVERIFY(Read(node, xml));
        const std::string saved = Saved(node, -1);
        QCOMPARE(std::count(saved.begin(), saved.end(), '\n'), std::ptrdiff_t(512));
    }
};

QTEST_GUILESS_MAIN(CXMLNodeTest)
#include "tst_cxmlnode.moc"
