// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "pictures.h"

#include "base/text.h"
#include "content.h"
#include "filesum.h"
#include "freshness.h"
#include "png.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

using namespace Agent;

namespace
{

const char aYear[] = "public, max-age=31536000, immutable";
const char wrongBytes[] = "its bytes are not those of its name";
const std::string ending = ".png";

} // namespace

bool HasPictures(Store& store)
try {
    return !store.GetIcons()->empty();
} catch (const StoreError&) {
    return true;
}

void AnswerPictures(const AgentRequest& request, Reply& reply)
{
    const auto products = request.store.GetProducts();
    const auto icons = request.store.GetIcons();
    reply.Open("pictures", { { "folder", "../pictures" } });
    for (const auto& [serial, sum] : *icons) {
        // An import may have removed the product since.
        if (products->count(serial) != 0)
            reply.Text("picture", sum + ending, { { "serialnumber", std::to_string(serial) } });
    }
    reply.Close();
}

// The sum is compared each time, which takes less than a millisecond: a file that is only half
// copied would stay in caches for a year.
void ServePicture(const std::string& store, const std::string& name, const HttpRequest& request,
                  HttpReply& reply)
{
    reply.status = 404;
    const std::string sum = name.substr(0, name.size() - std::min(name.size(), ending.size()));
    if (!IsPictureSum(sum) || name != sum + ending)
        return;
    struct stat info = {};
    Descriptor file = OpenBelow(store, PictureFile(sum), info);
    if (!file)
        return;
    if (info.st_size > off_t(largestPicture) || SumOf(file).sha256 != sum) {
        std::cerr << "pakmart-storeserver: " + store + '/' + PictureFile(sum) + ": " + wrongBytes
                + '\n';
        return;
    }
    const std::string tag = '"' + sum + '"';
    reply.Add("ETag", tag);
    reply.Add("Cache-Control", aYear);
    reply.status = HasAlready(request, tag) ? 304 : 200;
    if (reply.status == 304)
        return;
    reply.Add("Content-Type", "image/png");
    reply.file = std::move(file);
    reply.length = info.st_size;
}

std::string PictureFile(const std::string& sum)
{
    return "pictures/" + sum + ending;
}

std::string PictureFault(const std::string& store, const std::string& sum)
{
    struct stat info = {};
    const std::string name = PictureFile(sum);
    if (!OpenBelow(store, name, info))
        return std::string("it cannot be read: ") + std::strerror(errno);
    const std::string bytes = ReadStoreFile(store, name).text;
    if (const char* const fault = PngFault(bytes))
        return fault;
    return Sha256Of(bytes) == sum ? "" : wrongBytes;
}
