// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// A product of the store's catalog as a value, with its state on this machine.

#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QStringList>
#include <vantrelagent/export.h>

namespace Pakmart
{

/// A product of the catalog. Texts are empty and numbers 0 where the store gives none.
class VANTRELAGENT_EXPORT Product
{
    Q_GADGET
    /// The member of the same name, for QML.
    /// @{
    Q_PROPERTY(int serial MEMBER serial)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString package MEMBER package)
    Q_PROPERTY(QString version MEMBER version)
    Q_PROPERTY(QString category MEMBER category)
    Q_PROPERTY(QString summary MEMBER summary)
    Q_PROPERTY(QString description MEMBER description)
    Q_PROPERTY(QStringList needs MEMBER needs)
    Q_PROPERTY(QString vendor MEMBER vendor)
    Q_PROPERTY(QString copyright MEMBER copyright)
    Q_PROPERTY(QString price MEMBER price)
    Q_PROPERTY(QString released MEMBER released)
    Q_PROPERTY(QString reviewScore MEMBER reviewScore)
    Q_PROPERTY(QString categoryRanking MEMBER categoryRanking)
    Q_PROPERTY(QString subcategoryRanking MEMBER subcategoryRanking)
    Q_PROPERTY(QString ranking MEMBER ranking)
    Q_PROPERTY(QString categoryPage MEMBER categoryPage)
    Q_PROPERTY(QString page MEMBER page)
    Q_PROPERTY(QString authorPage MEMBER authorPage)
    Q_PROPERTY(int downloads MEMBER downloads)
    Q_PROPERTY(int size MEMBER size)
    Q_PROPERTY(Pakmart::Product::State state MEMBER state)
    Q_PROPERTY(QString installedVersion MEMBER installedVersion)
    Q_PROPERTY(QString iconName MEMBER iconName)
    Q_PROPERTY(QString picture MEMBER picture)
    /// @}

public:
    /// What dpkg reports of the package.
    enum State {
        Unknown, ///< dpkg's status has not been read yet, or cannot be read
        NotInstalled, ///< it is not there
        Installed, ///< it is there, and not older than the store's
        Upgradable, ///< an older version than the store's is there
        Broken, ///< it is only partly installed
        OtherState ///< anything that a later release may add
    };
    Q_ENUM(State)

    int serial = 0; ///< its number in the store; 0 if there is no product
    QString name; ///< the name to show
    QString package; ///< the Debian package
    QString version; ///< the store's version
    QString category; ///< the category that it is in
    QString summary; ///< the first line of its description
    QString description; ///< all of it; empty until ProductModel has read it
    QStringList needs; ///< names of what it needs, provided names too; read likewise
    QString vendor; ///< the maker
    QString copyright; ///< the copyright holder
    QString price; ///< the price, as text
    QString released; ///< when it came out, as text
    QString reviewScore; ///< the score of its reviews, as text
    QString categoryRanking; ///< its rank in the category, as text
    QString subcategoryRanking; ///< its rank in the subcategory, as text
    QString ranking; ///< its rank in the store, as text
    QString categoryPage; ///< the page of its category
    QString page; ///< its own page
    QString authorPage; ///< the page of its author
    int downloads = 0; ///< how often it was downloaded
    int size = 0; ///< bytes of its download
    State state = Unknown; ///< what dpkg reports of the package
    QString installedVersion; ///< empty if it is not installed
    QString iconName; ///< the name of an icon for its category in the icon theme
    QString picture; ///< the address of its own picture, for a PictureStore; often empty
};

} // namespace Pakmart

Q_DECLARE_METATYPE(Pakmart::Product)
