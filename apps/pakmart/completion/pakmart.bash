# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash

# Completion of pakmart for bash. The candidates come from pakmart, and some of them from the
# store: each is quoted, and none is ever evaluated.

_pakmart()
{
    local i=$COMP_CWORD word=${COMP_WORDS[COMP_CWORD]} line quoted breaks j
    COMPREPLY=()
    # bash would keep an open quotation mark before a candidate that is quoted with "\".
    [[ ${word//\\?/} == *[\"\'\`\$]* ]] && return
    # bash breaks words at "=" and ":", and replaces only what follows.
    while ((i > 1)) && [[ ${COMP_WORDS[i]} == [=:]* || ${COMP_WORDS[i - 1]} == [=:]* ]]; do
        i=$((i - 1))
        word=${COMP_WORDS[i]}$word
    done
    breaks=${word//[^=:]/}
    while IFS= read -r line; do
        printf -v quoted %q "${line%%$'\t'*}"
        for ((j = 0; j < ${#breaks}; ++j)); do
            quoted=${quoted#*[=:]}
        done
        COMPREPLY+=("$quoted")
    done < <(pakmart --complete "${COMP_WORDS[@]:1:i-1}" "${word//\\/}" 2>/dev/null)
}

complete -F _pakmart pakmart
