# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# Completion of pakmart for fish. The candidates come from pakmart, and some of them from the
# store: fish quotes what a command substitution returns, and evaluates none of it.

function __pakmart_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    set -l plain (string unescape -- "$word")
    and set word $plain
    pakmart --complete $words[2..-1] "$word" 2>/dev/null
end

complete -c pakmart -f -a '(__pakmart_complete)'
