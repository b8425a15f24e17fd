# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Sourced by run-demo with --exported: the store is files, which nginx serves, and a store server
# answers the rest behind it.

nginx=$(command -v nginx || command -v /usr/sbin/nginx || echo "$top/build-nginx/usr/sbin/nginx")
[[ -x $nginx ]] || fail "there is no nginx"

export_store() {
    "$build/server/pakmart-storeserver" export --public-url "$url" --sign "$demo/store.key" \
        "$demo/store" "$demo/exported" || fail "the store was not exported"
}

# The site that comes with the server, without TLS.
write_site() { # SERVER-PORT
    mkdir -p "$demo/nginx"
    cat > "$demo/nginx/nginx.conf" <<END
pid nginx.pid;
daemon off;
error_log stderr;
$( (( EUID != 0 )) || echo 'user root;')
events {}
http {
    access_log access.log;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    include site.conf;
}
END
    sed -e '/^server {$/{N;/listen 80;/{N;N;N;d}}' -e '/ssl_/d' -e "s,/srv/pakmart-export,$demo/exported," \
        -e "s/listen 443 ssl/listen 127.0.0.1:${url##*:}/" -e "s/server 127.0.0.1:8080/server 127.0.0.1:$1/" \
        "$top/server/nginx-export.conf" > "$demo/nginx/site.conf"
}

# Whether something answers there.
answers() { (exec 3<> "/dev/tcp/127.0.0.1/${url##*:}") 2> /dev/null; }

start_nginx() {
    "$nginx" -p "$demo/nginx" -c nginx.conf 2> "$demo/nginx/errors" &
    front=$!
    for (( i = 0; i < 100; i++ )); do
        ! answers || return 0
        kill -0 "$front" 2>/dev/null || { cat "$demo/nginx/errors" >&2; fail "nginx did not start"; }
        sleep 0.1
    done
    fail "nginx does not answer"
}

start_store() {
    start_server "$demo/store" --port 0 --access-log "$demo/server.log" --sign "$demo/store.key" --dates shared --proxy 127.0.0.1 --public-url "$url"
    local address
    address=$(sed -n 's,^listening on \(http://[^/]*\)/$,\1,p' "$demo/server.out")
    export_store
    write_site "${address##*:}"
    start_nginx
}

# A port that is free for nginx.
choose_address() {
    start_server "$demo/store" --port 0
    url=$(sed -n 's,^listening on \(http://[^/]*\)/$,\1,p' "$demo/server.out")
    stop_serving
}

# nginx answers from both versions for a moment.
publish() {
    export_store
    kill -HUP "$front"
    sleep 2
}

# How many requests nginx has answered, and how many of these with the server's help.
tell_shares() {
    echo "nginx has answered $(wc -l < "$demo/nginx/access.log") requests, $(wc -l < "$demo/server.log") of them from the server"
    cut -d '"' -f 2 "$demo/server.log" | sed 's/[?].*/?.../; s/ HTTP.*//' | sort | uniq -c
}
