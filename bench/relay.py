"""Relays on loopback that count what a client sends: connections and requests. For counting, never for timing."""

import re
import select
import socket
import ssl
import subprocess
import threading

REQUEST_LINE = re.compile(rb"^(?:GET|POST|M-POST|PATCH|DELETE|HEAD) [^\r\n]* HTTP/1\.[01]\r$", re.MULTILINE)


def make_certificate(folder):
    """A self-signed certificate with its key, in one file."""
    path = f"{folder}/relay.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-days", "1",
                    "-keyout", path + ".key", "-out", path + ".crt"], check=True, stderr=subprocess.DEVNULL)
    with open(path, "w", encoding="ascii") as whole:
        for part in (path + ".key", path + ".crt"):
            with open(part, encoding="ascii") as text:
                whole.write(text.read())
    return path


class HttpRelay:
    """Hands an HTTP or, with a certificate, an HTTPS service on."""

    def __init__(self, port, certificate=None):
        self.requests = self.connections = 0
        self._target = ("127.0.0.1", port)
        self._server_tls = self._client_tls = None
        if certificate:
            self._server_tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self._server_tls.load_cert_chain(certificate)
            self._client_tls = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
            self._client_tls.check_hostname = False
            self._client_tls.verify_mode = ssl.CERT_NONE
            for context in (self._server_tls, self._client_tls):
                # Later versions send tickets, which make a connection readable without data.
                context.maximum_version = ssl.TLSVersion.TLSv1_2
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            client = self._listener.accept()[0]
            self.connections += 1
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        try:
            server = socket.create_connection(self._target)
            if self._server_tls:
                client = self._server_tls.wrap_socket(client, server_side=True)
                server = self._client_tls.wrap_socket(server)
            self._hand_on(client, server)
        except OSError:
            pass
        finally:
            client.close()

    def _hand_on(self, client, server):
        """Both directions on one thread: a TLS connection serves one at a time."""
        other = {client: server, server: client}
        while True:
            waiting = [end for end in other if isinstance(end, ssl.SSLSocket) and end.pending()]
            for source in waiting or select.select(list(other), [], [])[0]:
                data = source.recv(65536)
                if not data:
                    return
                if source is client:
                    self.requests += len(REQUEST_LINE.findall(data))
                other[source].sendall(data)


class UdpRelay:
    """Counts datagrams, and client addresses as connections."""

    def __init__(self, port):
        self.requests = 0
        self._target = ("127.0.0.1", port)
        self._clients = {}
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.bind(("127.0.0.1", 0))
        self.port = self._socket.getsockname()[1]
        threading.Thread(target=self._forward, daemon=True).start()

    @property
    def connections(self):
        return len(self._clients)

    def _forward(self):
        while True:
            data, client = self._socket.recvfrom(65536)
            if client not in self._clients:
                self._clients[client] = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
                self._clients[client].connect(self._target)
                threading.Thread(target=self._back, args=(client,), daemon=True).start()
            self.requests += 1
            self._clients[client].send(data)

    def _back(self, client):
        while True:
            self._socket.sendto(self._clients[client].recv(65536), client)
