#!/usr/bin/python3
"""A client that survives the end of its server: it subscribes, polls, and prints what changes. What it does when
something goes wrong is all in watch():
  - no connection, a time-out, an error: tries again, with longer and longer pauses, and keeps its handle
  - the server no longer knows the handle, as after a restart: subscribes anew
  - after both, values come again that are known already: only those that differ count
main.cpp does the same in C++.

client.py HOST PORT PATH...
"""

import http.client
import signal
import sys
import time
import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import quoteattr

INTERVAL = 1  # seconds between two polls
SHORTEST_PAUSE = 0.25  # before trying again
LONGEST_PAUSE = 30  # a server that comes back is found within this time
PING_RATE = 120_000  # milliseconds, longer than any pause: the subscription outlives a short one
TIME_OUT = 10  # for each request

NAMESPACE = "http://opcfoundation.org/webservices/XMLDA/1.0/"
DA = "{" + NAMESPACE + "}"


class Client:
    def __init__(self, host, port, items):
        self.host = host
        self.port = port
        self.items = items
        self.handle = None  # while there is no subscription
        self.values = {}

    def watch(self):
        """Does not return: a signal ends it."""
        pause = SHORTEST_PAUSE
        is_lost = False
        while True:
            try:
                if self.handle is None or not self.poll():
                    self.subscribe()
                if is_lost:
                    print("connected again", file=sys.stderr, flush=True)
                is_lost = False
                pause = SHORTEST_PAUSE
            except (OSError, http.client.HTTPException, ElementTree.ParseError, ValueError) as error:
                if not is_lost:
                    print(f"no answer, trying again: {error}", file=sys.stderr, flush=True)
                is_lost = True
                pause = min(2 * pause, LONGEST_PAUSE)
            time.sleep(pause if is_lost else INTERVAL)

    def subscribe(self):
        self.handle = None
        items = "".join(f'<Items ItemName={quoteattr(name)} ClientItemHandle="{index}"/>'
                        for index, name in enumerate(self.items))
        response = self.call("Subscribe", f'<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="{PING_RATE}">'
                                          f"<ItemList>{items}</ItemList></Subscribe>")
        self.take(response.iter(DA + "ItemValue"))
        self.handle = response.get("ServerSubHandle")
        if not self.handle:
            raise ValueError("the server gave no handle")

    def poll(self):
        """Whether the server still knows the subscription."""
        response = self.call("SubscriptionPolledRefresh",
                             f"<SubscriptionPolledRefresh><ServerSubHandles>{self.handle}</ServerSubHandles>"
                             "</SubscriptionPolledRefresh>")
        self.take(response.iter(DA + "Items"))
        return response.find(DA + "InvalidServerSubHandles") is None

    def cancel(self):
        try:
            self.call("SubscriptionCancel", f'<SubscriptionCancel ServerSubHandle="{self.handle}"/>')
        except (OSError, http.client.HTTPException, ElementTree.ParseError, ValueError):
            pass  # the server forgets it when no more polls come

    def take(self, items):
        """Prints the values that differ from those that are known."""
        for item in items:
            value = item.find(DA + "Value")
            if value is None or not item.get("ClientItemHandle"):
                continue
            name = self.items[int(item.get("ClientItemHandle"))]
            text = "[" + ", ".join(member.text or "" for member in value) + "]" if len(value) else value.text or ""
            if self.values.get(name) != text:
                self.values[name] = text
                print(f"{name} = {text}", flush=True)

    def call(self, service, request):
        """The response element. A connection of its own for each request: one that is kept open may hold a thread of
        the server."""
        body = ('<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/" '
                f'xmlns="{NAMESPACE}"><soap:Body>{request}</soap:Body></soap:Envelope>')
        connection = http.client.HTTPConnection(self.host, self.port, timeout=TIME_OUT)
        try:
            connection.request("POST", "/", body.encode(), {"Content-Type": "text/xml; charset=utf-8",
                                                            "SOAPAction": f'"{NAMESPACE}{service}"'})
            reply = connection.getresponse()
            text = reply.read()
        finally:
            connection.close()
        if reply.status != 200:
            raise ValueError(f"status {reply.status}: {text.decode(errors='replace')}")
        return ElementTree.fromstring(text)[0][0]


def main():
    if len(sys.argv) < 4:
        sys.exit(f"usage: {sys.argv[0]} HOST PORT PATH...")
    client = Client(sys.argv[1], int(sys.argv[2]), sys.argv[3:])
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    signal.signal(signal.SIGINT, lambda *_: sys.exit(0))
    try:
        client.watch()
    finally:
        if client.handle:
            client.cancel()


if __name__ == "__main__":
    main()
