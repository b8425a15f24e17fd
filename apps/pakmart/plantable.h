// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The preview of a change of packages: a table for people, rows for programs.

#pragma once

#include <QJsonObject>
#include <QString>

namespace Pakmart
{
class Plan;
class PlanRow;
} // namespace Pakmart
class Console;

// Everything that would change, and what it takes.
void SayPlan(Console& console, const Pakmart::Plan& plan);

// The changes, the sizes, and the essential packages among them.
QJsonObject PlanAsJson(const Pakmart::Plan& plan);

// What has happened to the package of a row, as a sentence.
QString Done(const Pakmart::PlanRow& row);
