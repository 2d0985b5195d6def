#!/usr/bin/env python3
"""A timestamp server for the check of signatures: openssl answers. It prints its port, and runs until it is
ended. usage: timestamp_server.py CERTIFICATE KEY DIRECTORY"""
import http.server
import pathlib
import subprocess
import sys

certificate, key = sys.argv[1:3]
directory = pathlib.Path(sys.argv[3])
CONFIGURATION = f"""[tsa]
default_tsa = server
[server]
serial = {directory}/serial
signer_digest = sha256
default_policy = 1.2.3.4
digests = sha256
"""


class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):  # the name that the library calls
        query = directory / "query"
        query.write_bytes(self.rfile.read(int(self.headers["Content-Length"])))
        reply = subprocess.run(
            ["openssl", "ts", "-reply", "-config", directory / "openssl.cnf", "-queryfile", query, "-signer",
             certificate, "-inkey", key], check=True, capture_output=True).stdout
        self.send_response(200)
        self.send_header("Content-Type", "application/timestamp-reply")
        self.send_header("Content-Length", str(len(reply)))
        self.end_headers()
        self.wfile.write(reply)

    def log_message(self, *_):
        pass


directory.mkdir()
(directory / "openssl.cnf").write_text(CONFIGURATION)
(directory / "serial").write_text("01\n")
with http.server.HTTPServer(("localhost", 0), Handler) as server:
    print(server.server_port, flush=True)
    server.serve_forever()
