// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "metrics.h"

#include "base/text.h"
#include "functions.h"
#include "sqlconnection.h"
#include "statuspages.h"

#include <cstdlib>

using Agent::BeginsWith;

namespace
{

// What is said about a name, before its values.
std::string Head(const char* name, const char* type, const char* help)
{
    return std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

std::string Value(const std::string& name, const std::string& value)
{
    return name + ' ' + value + '\n';
}

// Not in the locale's way.
std::string SecondsText(double seconds)
{
    const auto micros = std::uint64_t(seconds * 1e6);
    const std::string rest = std::to_string(micros % 1000000);
    return std::to_string(micros / 1000000) + '.' + std::string(6 - rest.size(), '0') + rest;
}

} // namespace

void Metrics::AddRequest(const std::string& kind, int status, std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_requests[{ kind, status }];
    m_bytes += bytes;
}

void Metrics::AddAnswer(const std::string& kind, std::chrono::steady_clock::duration taken)
{
    const double seconds = std::chrono::duration<double>(taken).count();
    const std::lock_guard<std::mutex> lock(m_mutex);
    Answers& answers = m_answers[kind];
    ++answers.count;
    answers.seconds += seconds;
    for (std::size_t i = 0; i < limits.size(); ++i)
        answers.upTo[i] += seconds <= std::strtod(limits[i], nullptr) ? 1 : 0;
}

void Metrics::Write(const std::string& kind, const Answers& answers, std::string& text)
{
    const std::string name = "pakmart_answer_seconds";
    const std::string label = "{kind=\"" + kind + '"';
    for (std::size_t i = 0; i < limits.size(); ++i)
        text += Value(name + "_bucket" + label + ",le=\"" + limits[i] + "\"}",
                      std::to_string(answers.upTo[i]));
    text += Value(name + "_sum" + label + '}', SecondsText(answers.seconds));
    text += Value(name + "_count" + label + '}', std::to_string(answers.count));
}

std::string Metrics::Text() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string text = Head("pakmart_requests_total", "counter", "Requests that have ended.");
    for (const auto& [what, count] : m_requests)
        text += Value("pakmart_requests_total{kind=\"" + what.first + "\",status=\""
                          + std::to_string(what.second) + "\"}",
                      std::to_string(count));
    text += Head("pakmart_answer_seconds", "histogram", "Time to make an answer.");
    for (const auto& [kind, answers] : m_answers)
        Write(kind, answers, text);
    text += Head("pakmart_sent_bytes_total", "counter", "Content that was sent.")
        + Value("pakmart_sent_bytes_total", std::to_string(m_bytes));
    text += Head("pakmart_database_statements_total", "counter", "Statements run by a database.")
        + Value("pakmart_database_statements_total", std::to_string(SqlConnection::Statements()));
    text += Head("pakmart_start_time_seconds", "gauge", "When the server started.")
        + Value("pakmart_start_time_seconds", std::to_string(m_start));
    return text;
}

std::string KindOf(const std::string& target)
{
    const std::string path = target.substr(0, target.find('?'));
    const std::string folder = "/agent/";
    if (path == "/getagentapi.php")
        return "directory";
    if (BeginsWith(path, "/pool/"))
        return "pool";
    if (IsStatusPath(path))
        return "status";
    return FindFunction(path).handler ? path.substr(folder.size()) : "other";
}
