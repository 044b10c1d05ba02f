#!/usr/bin/python3
"""Drives all eight services through a gateway with zeep in its strict mode, from the gateway's own description. Prints
a line per check.

with_server VALUES_HOST --gateway GATEWAY zeep_client.py
"""

import datetime
import os
import sys
import threading

SKIPPED = 77

try:
    import isodate
    import requests
    import zeep
    from zeep import xsd
except ImportError as error:
    print(f"skipped: {error} (Debian package python3-zeep)")
    sys.exit(SKIPPED)

XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/"
UTC = datetime.timezone.utc


def describe(value):
    """Type and value, so that True is not taken for 1. An array comes as an object with one list."""
    if hasattr(value, "__values__") and len(value.__values__) == 1:
        (value,) = value.__values__.values()
    if isinstance(value, list):
        return [describe(member) for member in value]
    return type(value).__name__, value


class Checks:
    """Counts and prints what was found."""

    def __init__(self):
        self.failures = 0

    def equal(self, name, got, expected):
        is_right = describe(got) == describe(expected)
        print(f"ok      {name}" if is_right else f"FAILED  {name}: got {got!r}, expected {expected!r}")
        self.failures += not is_right

    def fault(self, name, call, code):
        try:
            self.equal(name, f"no fault, but {call()!r}", code)
        except zeep.exceptions.Fault as error:
            self.equal(name, get_name(error.code), code)
            self.equal(f"{name}, with a text", bool(error.message), True)


def get_name(text):
    """zeep leaves the prefix of a qualified name as it came."""
    return text and text.rpartition(":")[2]


def get_codes(items):
    return [get_name(item.ResultID) for item in items]


class Client:
    """Checks that the services answer as the published schema has it."""

    def __init__(self, url, checks):
        self.checks = checks
        self.client = zeep.Client(f"{url}?wsdl", settings=zeep.Settings(strict=True))
        self.service = self.client.service

    def array(self, name, *members):
        kind = self.client.get_type(f"{{{XMLDA}}}{name}")
        return xsd.AnyObject(kind, kind(list(members)))

    def read(self, *names):
        return self.service.Read(
            Options={"ReturnItemTime": True, "ReturnErrorText": True},
            ItemList={"Items": [{"ItemName": name, "ClientItemHandle": name} for name in names]})

    def read_value(self, name):
        return self.read(name).RItemList.Items[0].Value

    def write(self, *items):
        return self.service.Write(ReturnValuesOnReply=True, ItemList={
            "Items": [{"ItemName": name, "Value": value} for name, value in items]}).RItemList.Items

    def check_status(self):
        reply = self.service.GetStatus(ClientRequestHandle="status-1")
        self.checks.equal("GetStatus returns the handle", reply.GetStatusResult.ClientRequestHandle, "status-1")
        self.checks.equal("the server is running", reply.GetStatusResult.ServerState, "running")
        self.checks.equal("GetStatus tells the interface", reply.Status.SupportedInterfaceVersions,
                          ["XML_DA_Version_1_0"])

    def check_browse(self):
        reply = self.service.Browse()
        self.checks.equal("Browse lists the root", [element.ItemName for element in reply.Elements],
                          ["/values", "/readings"])
        self.checks.equal("a branch is no item", [element.IsItem for element in reply.Elements], [False, False])
        reply = self.service.Browse(ItemName="/readings", ReturnPropertyValues=True, PropertyNames=[
            "quality", "engineeringUnits"])
        quality, unit = reply.Elements[1].Properties
        self.checks.equal("Browse gives the quality", quality.Value.QualityField, "badSensorFailure")
        self.checks.equal("Browse gives the unit", unit.Value, "degC")
        self.checks.fault("Browse of an unknown item is a fault", lambda: self.service.Browse(ItemName="/none"),
                          "E_UNKNOWNITEMNAME")

    def check_properties(self):
        reply = self.service.GetProperties(
            ItemIDs=[{"ItemName": "/values/int"}, {"ItemName": "/values/none"}], ReturnErrorText=True,
            PropertyNames=["dataType"], ReturnPropertyValues=True)
        self.checks.equal("GetProperties answers for each item", get_codes(reply.PropertyLists),
                          [None, "E_UNKNOWNITEMNAME"])
        kind = reply.PropertyLists[0].Properties[0].Value
        self.checks.equal("GetProperties gives the type", get_name(kind), "int")
        self.checks.equal("GetProperties gives texts of errors", bool(reply.Errors[0].Text), True)

    def check_read(self):
        names = ["/readings/good", "/readings/failed", "/readings/none"]
        reply = self.read(*names)
        good, failed, none = reply.RItemList.Items
        self.checks.equal("Read answers in order", [item.ClientItemHandle for item in reply.RItemList.Items], names)
        self.checks.equal("Read gives a value", good.Value, 21.5)
        self.checks.equal("Read gives the time", good.Timestamp is not None, True)
        self.checks.equal("a good value is good", good.Quality is None or good.Quality.QualityField == "good", True)
        self.checks.equal("a failed sensor is bad", failed.Quality.QualityField, "badSensorFailure")
        self.checks.equal("a missing item has a code", get_codes([none]), ["E_UNKNOWNITEMNAME"])
        self.checks.equal("a missing item has no value", none.Value, None)
        self.checks.equal("the code has a text", [bool(error.Text) for error in reply.Errors], [True])

    def check_value(self, name, first, sent, expected):
        """`first` is what the host begins with."""
        name = f"/values/{name}"
        self.checks.equal(f"{name} is read", self.read_value(name), first)
        (written,) = self.write((name, sent))
        self.checks.equal(f"{name} is written", get_codes([written]), [None])
        self.checks.equal(f"{name} is answered", written.Value, expected)
        self.checks.equal(f"{name} is read back", self.read_value(name), expected)

    def check_scalars(self):
        first_time = datetime.datetime(2026, 9, 14, 6, 30, tzinfo=UTC)
        next_time = datetime.datetime(2027, 1, 2, 3, 4, 5, 250000, tzinfo=UTC)
        for name, kind, first, value in (
                ("boolean", xsd.Boolean, True, False), ("byte", xsd.Byte, -128, 7), ("short", xsd.Short, -32768, 7),
                ("int", xsd.Int, -2147483648, 7), ("long", xsd.Long, -9007199254740993, 9223372036854775807),
                ("unsignedByte", xsd.UnsignedByte, 255, 200), ("unsignedShort", xsd.UnsignedShort, 65535, 7),
                ("unsignedInt", xsd.UnsignedInt, 4294967295, 7),
                ("unsignedLong", xsd.UnsignedLong, 18446744073709551615, 9007199254740993),
                ("float", xsd.Float, 0.5, -2.25), ("double", xsd.Double, 0.125, 1e7),
                ("string", xsd.String, "a < b & c", "ü < ä"), ("dateTime", xsd.DateTime, first_time, next_time),
                ("duration", xsd.Duration, datetime.timedelta(hours=36), datetime.timedelta(minutes=30))):
            self.check_value(name, first, xsd.AnyObject(kind(), value), value)
        (written,) = self.write(("/values/boolean", xsd.AnyObject(xsd.Boolean(), True)))
        self.checks.equal("Write takes true", written.Value, True)

    def check_arrays(self):
        first_time = datetime.datetime(2026, 9, 14, microsecond=250000, tzinfo=UTC)
        for name, kind, first, members in (
                ("booleans", "Boolean", [True, False], [False, True, True]), ("bytes", "Byte", [-128, 127], [-1, 1]),
                ("shorts", "Short", [-32768, 32767], [7]), ("ints", "Int", [1, -1], [7, 8, 9]),
                ("longs", "Long", [9007199254740993, -1], [-9223372036854775808]),
                ("unsignedShorts", "UnsignedShort", [0, 65535], [7]),
                ("unsignedInts", "UnsignedInt", [0, 4294967295], [7]),
                ("unsignedLongs", "UnsignedLong", [0, 18446744073709551615], [9007199254740993]),
                ("floats", "Float", [0.5, -0.25], [1.5]), ("doubles", "Double", [0.125, -1e6], [1.5, 2.5]),
                ("dateTimes", "DateTime", [first_time], [datetime.datetime(2027, 1, 2, 3, 4, 5, tzinfo=UTC)])):
            self.check_value(name, first, self.array(f"ArrayOf{kind}", *members), members)
        # zeep reads an empty text as None.
        self.check_value("strings", ["a", None, "ü"], self.array("ArrayOfString", "x & y"), ["x & y"])
        halves = xsd.AnyObject(xsd.Duration(), isodate.parse_duration("PT30M"))
        self.check_value("durations", [datetime.timedelta(hours=36), datetime.timedelta(seconds=90)],
                         self.array("ArrayOfAnyType", halves), [datetime.timedelta(minutes=30)])
        written = self.write(("/values/unsignedBytes", xsd.AnyObject(xsd.Base64Binary(), b"\x01\xc8")))
        self.checks.equal("Write takes bytes in base 64", get_codes(written), [None])
        self.checks.equal("unsigned bytes in arrays come as signed ones", self.read_value("/values/unsignedBytes"),
                          [1, -56])

    def check_refusals(self):
        double = xsd.AnyObject(xsd.Double(), 3.5)
        items = self.write(("/readings/good", double), ("/values/none", double),
                           ("/values/int", xsd.AnyObject(xsd.String(), "many")),
                           ("/values/short", xsd.AnyObject(xsd.Int(), 70000)), ("/values/double", double))
        self.checks.equal("Write answers for each item", get_codes(items),
                          ["E_READONLY", "E_UNKNOWNITEMNAME", "E_BADTYPE", "E_RANGE", None])
        self.checks.equal("one item does not spoil the others", items[4].Value, 3.5)

    def poll(self, *handles, **arguments):
        return self.service.SubscriptionPolledRefresh(ServerSubHandles=list(handles), **arguments)

    def check_wait(self, handle):
        replies = []
        # A session of requests is for one thread.
        waiting = Client(self.client.wsdl.location.partition("?")[0], self.checks)
        thread = threading.Thread(target=lambda: replies.append(waiting.poll(handle, "unknown", WaitTime=60000)))
        thread.start()
        self.write(("/values/int", xsd.AnyObject(xsd.Int(), 8)))
        thread.join()
        (values,) = replies[0].RItemList
        self.checks.equal("a poll with a wait time gives the change", [item.Value for item in values.Items], [8])
        self.checks.equal("it names the subscription", values.SubscriptionHandle, handle)
        self.checks.equal("it names the handle that is none", replies[0].InvalidServerSubHandles, ["unknown"])

    def check_hold(self, handle):
        hold_time = datetime.datetime.now(UTC) + datetime.timedelta(seconds=1)
        self.write(("/values/int", xsd.AnyObject(xsd.Int(), 9)))
        reply = self.poll(handle, HoldTime=hold_time)
        self.checks.equal("a poll with a hold time is held", datetime.datetime.now(UTC) >= hold_time, True)
        self.checks.equal("it gives the change", reply.RItemList[0].Items[0].Value, 9)

    def check_subscription(self):
        names = ["/values/int", "/values/none", "/readings/failed"]
        reply = self.service.Subscribe(ReturnValuesOnReply=True, SubscriptionPingRate=60000,
                                       ItemList={"Items": [{"ItemName": name} for name in names]})
        handle = reply.ServerSubHandle
        items = [each.ItemValue for each in reply.RItemList.Items]
        self.checks.equal("Subscribe gives the values", [item.Value for item in items], [7, None, 850.0])
        self.checks.equal("Subscribe gives codes", get_codes(items), [None, "E_UNKNOWNITEMNAME", None])
        self.checks.equal("Subscribe gives the quality", items[2].Quality.QualityField, "badSensorFailure")
        self.check_wait(handle)
        self.check_hold(handle)
        self.checks.equal("SubscriptionCancel returns the handle", self.service.SubscriptionCancel(
            ServerSubHandle=handle, ClientRequestHandle="cancel-1"), "cancel-1")
        self.checks.fault("a second SubscriptionCancel is a fault", lambda: self.service.SubscriptionCancel(
            ServerSubHandle=handle), "E_NOSUBSCRIPTION")


def main():
    checks = Checks()
    client = Client(os.environ["KX_GATEWAY_URL"], checks)
    for check in (client.check_status, client.check_browse, client.check_properties, client.check_read,
                  client.check_scalars, client.check_arrays, client.check_refusals, client.check_subscription):
        try:
            check()
        except (zeep.exceptions.Error, requests.RequestException) as error:
            checks.equal(check.__name__, repr(error), "no exception")
    print(f"{checks.failures} failed")
    return 1 if checks.failures else 0


if __name__ == "__main__":
    sys.exit(main())
