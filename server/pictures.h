// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pictures of products. The optional file `icons` names them by their sums,
//
//     Serial: 7
//     Picture: 5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03
//
// and pictures/SUM.png below the store has the bytes. Since a name belongs to one content for
// ever, clients may keep pictures as long as they like.

#pragma once

#include "functions.h"
#include "httpmessage.h"
#include "icons.h"
#include "store.h"

#include <string>

// Whether the store has any: a store without them has no function either. A broken list counts,
// since the call itself says that the store is being repaired.
bool HasPictures(Store& store);

// CAPIGetPictures, without parameters: the pictures of the products.
void AnswerPictures(const AgentRequest& request, Reply& reply);

// Answers a GET or HEAD for the picture `name`. Status 404 when there is none, or its bytes are
// not those of the name; 304 when the client has it.
void ServePicture(const std::string& store, const std::string& name, const HttpRequest& request,
                  HttpReply& reply);

// The picture's file below the store.
std::string PictureFile(const std::string& sum);

// What is wrong with it; empty if nothing is. Throws StoreError when it cannot be read.
std::string PictureFault(const std::string& store, const std::string& sum);
