// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The library's texts for people have the context "Pakmart" of Qt's translations. What no
// translator of the host knows comes from the library's own catalogs, through KI18n.

#include <KLocalizedString>
#include <QCoreApplication>
#include <QTranslator>

namespace
{

class CatalogTranslator : public QTranslator
{
public:
    using QTranslator::QTranslator;

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        if (qstrcmp(context, "Pakmart") != 0 || !*text)
            return QString();
        // The places of arguments stay: they are filled in afterwards.
        KLocalizedString found = ki18nd("libvantrelagent", text).relaxSubs();
        for (int place = 1; place <= 9; ++place)
            found = found.subs(QLatin1Char('%') + QString::number(place));
        return found.toString();
    }
};

// Translators that are installed later are asked first.
void UseCatalogs()
{
    QCoreApplication::installTranslator(new CatalogTranslator(qApp));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(UseCatalogs)
