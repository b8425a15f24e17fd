// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "export.h"

#include "base/text.h"
#include "functions.h"
#include "personalfiles.h"
#include "pictures.h"
#include "signedpool.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <vector>

using namespace Agent;
namespace fs = std::filesystem;

namespace
{

const char* const signatureFiles[] = { "InRelease", "Release" };
const char appInfo[] = "CAPIDownloadAppInfo", packageInfo[] = "CAPIGetPackageInfo";

// One answer: where it is, and what it answers.
struct Call {
    std::string path; // in the version
    std::string target; // of the request
    Handler handler = nullptr;
};

class Exporter
{
public:
    explicit Exporter(const ExportOptions& options);
    ExportResult Run();

private:
    std::vector<Call> CallsForAll();
    std::vector<Call> CallsForEach();
    void Export(const Call& call);
    void Sign(const Call& call, const std::string& text);
    void ExportCalls(const std::vector<Call>& calls);
    void ExportSignatures();
    bool IsSignature(const std::string& path);
    void ExportPool();
    void ExportPoolFile(const std::string& path);
    void ExportPictures();

    const ExportOptions& m_options;
    Store m_store;
    PersonalFiles m_personal; // not asked for anything
    std::optional<Signer> m_signer;
    std::optional<SignedPool> m_signedPool;
    std::time_t m_date = 0; // of all that is signed
    ExportFolder m_folder;
    std::mutex m_mutex; // for the statements
    std::map<std::string, std::string> m_statements; // by the paths of the answers
};

Exporter::Exporter(const ExportOptions& options)
    : m_options(options), m_store(options.store), m_personal(options.store),
      m_folder(options.folder)
{
    m_store.Check();
    if (options.signKey.empty())
        return;
    m_signer.emplace(options.signKey);
    m_signedPool.emplace(m_store, *m_signer, options.origin, true);
    m_date = m_signedPool->Date();
    m_signedPool->Check();
}

bool IsForEach(const std::string& function)
{
    return function == appInfo || function == packageInfo;
}

std::vector<Call> Exporter::CallsForAll()
{
    const std::string directory = "/getagentapi.php";
    std::vector<Call> calls{ { directory, directory, FindFunction(directory).handler } };
    for (const auto& [name, function] : Functions()) {
        if (!function.isPersonal && !IsForEach(name) && function.IsIn(m_store))
            calls.push_back({ "/agent/" + name, "/agent/" + name, function.handler });
    }
    return calls;
}

// Whether nginx finds the answer about an archive of this name, which stands in the address as it
// is. The server answers about others.
bool IsPlainName(const std::string& name)
{
    return !name.empty() && name.front() != '.'
        && std::all_of(name.begin(), name.end(),
                       [](char c) { return IsLetterOrDigit(c) || std::strchr("._-+~%", c); });
}

std::vector<Call> Exporter::CallsForEach()
{
    std::vector<Call> calls;
    const auto add
        = [&calls](const std::string& function, const char* argument, const std::string& value) {
              const std::string address = "/agent/" + function;
              calls.push_back({ address + '/' + value, address + '?' + argument + '=' + value,
                                Functions().at(function).handler });
          };
    for (const auto& [serial, product] : *m_store.GetProducts())
        add(appInfo, "app_id[]", std::to_string(serial));
    for (const auto& [name, index] : m_store.GetRepositories()) {
        for (const auto& [file, package] : *index) {
            if (IsPlainName(file))
                add(packageInfo, "filename[]", file);
        }
    }
    if (m_signedPool && calls.size() > 2 * mostSignedOnes)
        calls.clear();
    return calls;
}

void Exporter::Sign(const Call& call, const std::string& text)
{
    HttpReply reply;
    reply.SetBody(text, "text/xml");
    m_signedPool->Cover({ m_options.publicUrl + call.target, false, m_date }, reply);
    const auto header = std::find_if(reply.headers.begin(), reply.headers.end(),
                                     [](const auto& one) { return one.first == statementHeader; });
    if (header == reply.headers.end())
        throw StoreError(m_options.signKey + ": an answer could not be signed");
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_statements[call.path] = header->second;
}

void Exporter::Export(const Call& call)
{
    const auto mark = std::min(call.target.find('?'), call.target.size());
    const Query query(call.target.substr(std::min(mark + 1, call.target.size())));
    Reply reply;
    call.handler({ query, m_options.publicUrl, m_store, m_personal, m_signedPool.has_value() },
                 reply);
    const std::string text = reply.Take();
    if (m_signedPool)
        Sign(call, text);
    m_folder.Add(call.path, text);
}

// In two threads.
void Exporter::ExportCalls(const std::vector<Call>& calls)
{
    const auto middle = calls.begin() + std::ptrdiff_t(calls.size() / 2);
    const auto each = [this](auto from, auto to) {
        std::for_each(from, to, [this](const Call& call) { Export(call); });
    };
    auto first = std::async(std::launch::async, each, calls.begin(), middle);
    each(middle, calls.end());
    first.get();
}

void Exporter::ExportSignatures()
{
    for (const auto& [name, index] : m_store.GetRepositories()) {
        for (const char* const file : signatureFiles) {
            HttpReply reply;
            if (!m_signedPool->Serve(name + '/' + file, reply) || reply.status != 200)
                throw StoreError("the repository " + Quoted(name) + " could not be signed");
            m_folder.Add("/pool/" + name + '/' + file, reply.Body(), false);
        }
    }
}

// Whether the server has files of its own under this name.
bool Exporter::IsSignature(const std::string& path)
{
    const auto slash = std::min(path.find('/'), path.size());
    return m_signedPool && m_store.GetRepositories().count(path.substr(0, slash)) != 0
        && std::count(std::begin(signatureFiles), std::end(signatureFiles),
                      path.substr(std::min(slash + 1, path.size())))
        != 0;
}

void Exporter::ExportPoolFile(const std::string& path)
{
    struct stat info = {};
    const Descriptor file = OpenBelow(m_store.PoolFolder(), path, info);
    if (file)
        m_folder.AddFile("/pool/" + path, file, info);
}

// The files that the server would send: links are not followed.
void Exporter::ExportPool()
try {
    const std::size_t length = m_store.PoolFolder().size() + 1;
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(m_store.PoolFolder())) {
        const std::string path = entry.path().string().substr(length);
        if (fs::is_regular_file(entry.symlink_status()) && !IsSignature(path))
            ExportPoolFile(path);
    }
} catch (const fs::filesystem_error& error) {
    throw StoreError(error.path1().string() + ": " + error.code().message());
}

// As the server sends them: one with other bytes than its name says is left out.
void Exporter::ExportPictures()
{
    for (const auto& [serial, sum] : *m_store.GetIcons()) {
        const std::string name = sum + ".png";
        HttpReply reply;
        ServePicture(m_options.store, name, {}, reply);
        struct stat info = {};
        if (reply.file && fstat(reply.file.Get(), &info) == 0)
            m_folder.AddFile("/pictures/" + name, reply.file, info);
    }
}

ExportResult Exporter::Run()
{
    const StoreState before = m_store.GetState();
    ExportCalls(CallsForAll());
    ExportCalls(CallsForEach());
    if (m_signedPool)
        ExportSignatures();
    ExportPool();
    ExportPictures();
    if (m_store.GetState() != before)
        throw StoreError(m_options.store + ": the store was changed meanwhile; export it again");
    return m_folder.Publish(m_statements, m_options.keep);
}

} // namespace

ExportResult ExportStore(const ExportOptions& options)
{
    return Exporter(options).Run();
}
