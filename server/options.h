// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command lines of the store server.

#pragma once

#include "personalplace.h"

#include <string>

struct ServerOptions {
    std::string store;
    std::string listen = "127.0.0.1";
    std::string publicUrl; // empty: from each request
    std::string signKey; // the file of the secret key; empty: nothing is signed
    std::string origin = "Pakmart"; // the name of the store in what is signed
    bool isSharedDate = false; // signed with the date that other servers and exports find too
    int port = 8080; // 0: a free one
    std::string proxy; // the address of the proxy in front of the server; empty: none
    int perAddress = 256; // connections of a client's address; 0: any number
    std::string certificate; // of the server, for HTTPS; empty: HTTP
    std::string key; // of the certificate
    std::string accessLog; // the file that gets a line for each request; empty: none
    bool isJsonLog = false; // its lines are objects of JSON
    PersonalPlace personal;
    std::string monitor; // an address from which the server is watched; empty: this machine only
    int grace = 3; // seconds for replies under way when the server ends
    bool verbose = false;
};

// False when the program should end with `status`: after --help and --version, and
// after a usage error, which is reported on standard error.
bool ParseOptions(int argc, char** argv, ServerOptions& options, int& status);

// Adds the options of a file. CheckOptionFile also needs all that a server needs. They throw
// StoreError, naming the file and the line.
void ReadOptionFile(const std::string& file, ServerOptions& options);
void CheckOptionFile(const std::string& file, ServerOptions& options);

// How the addresses of the server begin: "http://", or "https://" with a certificate.
std::string SchemeOf(const ServerOptions& options);

// True for an address such as http://store.example:8080/shop, without query,
// blanks or a slash at its end.
bool IsServerUrl(const std::string& url);

// True for the name of a store in what is signed: one line of ASCII.
bool IsOrigin(const std::string& name);

// True for a valid `Host` of a request: a name or address, with or without a port.
bool IsHost(const std::string& host);

// The commands. Each takes the words after the program's name, its own name first, and
// returns the exit status: 0 done, 1 failed, 2 wrong usage.
int ImportCommand(int argc, char** argv); // makes a store out of a Debian package index
int CheckCommand(int argc, char** argv); // names the faults of a store
int InitCommand(int argc, char** argv); // makes an empty store
int AddCommand(int argc, char** argv); // puts a package into a store
int ExportCommand(int argc, char** argv); // writes a store as files for a web server
int PersonalCommand(int argc, char** argv); // shows and changes what a database has
