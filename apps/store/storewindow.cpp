// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "storewindow.h"

#include <KLocalizedString>
#include <QQmlContext>
#if QT_VERSION_MAJOR >= 6
#include <KLocalizedQmlContext>
#else
#include <KLocalizedContext>
#endif

StoreWindow::StoreWindow(QObject* parent) : QObject(parent)
{
    KLocalizedString::setApplicationDomain("pakmart-store");
#if QT_VERSION_MAJOR >= 6
    KLocalization::setupLocalizedContext(&m_engine);
#else
    m_engine.rootContext()->setContextObject(new KLocalizedContext(&m_engine));
#endif
    m_engine.rootContext()->setContextProperty(QStringLiteral("desktop"), &m_desktop);
    m_engine.rootContext()->setContextProperty(QStringLiteral("preferences"), &m_preferences);
}

QQuickWindow* StoreWindow::window() const
{
    const QList<QObject*> roots = m_engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}

bool StoreWindow::open()
{
    m_engine.load(QUrl(QStringLiteral("qrc:/store/Main.qml")));
    return window();
}

void StoreWindow::go(const Address& address)
{
    if (window() && address.isValid())
        QMetaObject::invokeMethod(window(), "go", Q_ARG(QVariant, address.page),
                                  Q_ARG(QVariant, address.value));
}

void StoreWindow::raise()
{
    if (!window())
        return;
    window()->show();
    window()->raise();
    window()->requestActivate();
}
