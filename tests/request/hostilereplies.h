// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Invalid answers that a server may give to any request, and the event with which the
// request then ends.

#pragma once

#include "requests.h"

#include <QtTest>

// Rows of `bytes`, as the server sends them; `error`, the beginning of the text with
// which the request fails; and `reached`, whether a transfer takes place.
inline void HostileReplies(const QByteArray& goodBody)
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("reached");
    const auto page = [](const char* name, const QByteArray& body) {
        QTest::newRow(name) << ScriptedServer::http(body) << Texts::format << true;
    };
    page("empty", "");
    page("not XML", "hello");
    page("truncated", goodBody.left(goodBody.size() - 5));
    page("wrong root", "<?xml version=\"1.0\"?><other resultcode=\"OK\"/>");
    page("root in capitals", "<AGENTFUNCTION resultcode=\"OK\"/>");
    page("invalid UTF-8", "<agentfunction resultcode=\"OK\">\xC3(</agentfunction>");
    page("zero byte", QByteArray("<agentfunction resultcode=\"OK\">a\0</agentfunction>", 48));
    page("entities",
         "<!DOCTYPE a [<!ENTITY a \"xxxx\">]><agentfunction resultcode=\"OK\">&a;"
         "</agentfunction>");
    page("nesting of 1,000",
         "<agentfunction resultcode=\"OK\">" + QByteArray("<package>").repeated(1000)
             + QByteArray("</package>").repeated(1000) + "</agentfunction>");
    QTest::newRow("404") << ScriptedServer::http("<html><p>gone", "404 Not Found") << Texts::format
                         << true;
    QTest::newRow("500") << ScriptedServer::http("oops", "500 Internal Server Error")
                         << Texts::format << true;
    const QByteArray whole = ScriptedServer::http(goodBody);
    // KIO may take the end of the connection for the end of a page.
    QTest::newRow("closed half-way") << whole.left(whole.size() - 10) << QString() << true;
    QTest::newRow("closed at once") << QByteArray() << QString() << false;
}

// The address of a port on which nothing listens.
inline QByteArray RefusingUrl()
{
    ScriptedServer closed;
    return closed.url("/t");
}
