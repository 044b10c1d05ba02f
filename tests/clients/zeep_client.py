#!/usr/bin/python3
"""Drives all eight services with zeep, from the description beside this file. Prints a line per check.

with_server PLANT zeep_client.py
"""

import datetime
import os
import sys

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
XSD = "http://www.w3.org/2001/XMLSchema"
XSI_TYPE = "{http://www.w3.org/2001/XMLSchema-instance}type"
UTC = datetime.timezone.utc


class Checks:
    """Counts and prints what was found."""

    def __init__(self):
        self.failures = 0

    def equal(self, name, got, expected):
        self.true(name, got == expected and type(got) is type(expected), f"got {got!r}, expected {expected!r}")

    def true(self, name, condition, detail=""):
        print(f"ok      {name}" if condition else f"FAILED  {name}: {detail}")
        self.failures += not condition

    def fails(self, name, action, expected):
        """`expected` takes the exception and tells whether it is the right one."""
        try:
            got = action()
        except (zeep.exceptions.Error, requests.RequestException) as error:
            self.true(name, expected(error), f"got {error!r}")
        else:
            self.true(name, False, f"no error, got {got!r}")


class BareArrayNames(zeep.Plugin):
    """The server compares the type names of values letter by letter, and those of arrays have no prefix."""

    def egress(self, envelope, http_headers, operation, binding_options):
        for value in envelope.iter("{%s}Value" % XMLDA):
            prefix, _, name = value.get(XSI_TYPE, "").rpartition(":")
            if prefix and name.startswith("ArrayOf"):
                value.set(XSI_TYPE, name)
        return envelope, http_headers


def connect(url):
    description = os.path.join(os.path.dirname(os.path.abspath(__file__)), "xmlda.wsdl")
    client = zeep.Client(description, plugins=[BareArrayNames()])
    client.set_ns_prefix("xsd", XSD)
    return client, client.create_service("{%s}DataAccessSoap" % XMLDA, url)


def fault(code):
    return lambda error: isinstance(error, zeep.exceptions.Fault) and error.code == code


def bad_request(error):
    return (isinstance(error, zeep.exceptions.TransportError) and error.status_code == 400
            and error.content == b"Bad request")


def check_status(service, checks):
    reply = service.GetStatus(ClientRequestHandle="status-1")
    checks.equal("GetStatus tells the vendor", reply.Status.VendorInfo, "Brevandor OPC XML DA Server")
    checks.equal("GetStatus tells the interface", reply.Status.SupportedInterfaceVersions, ["XML_DA_Version_1_0"])
    checks.equal("GetStatus returns the handle", reply.GetStatusResult.ClientRequestHandle, "status-1")
    checks.equal("the server is running", reply.GetStatusResult.ServerState, "running")
    checks.true("the reply's times are times", reply.GetStatusResult.RcvTime <= reply.GetStatusResult.ReplyTime)


def check_browse(service, checks):
    reply = service.Browse()
    checks.equal("Browse lists the root", [element.ItemName for element in reply.Elements],
                 ["/boiler", "/feed_water", "/turbine", "/alarms", "/maintenance", "/instruments"])
    checks.equal("Browse tells what has children", {element.HasChildren for element in reply.Elements}, {True})
    reply = service.Browse(ItemName="/boiler/temperature", ReturnAllProperties=True, ReturnPropertyValues=True)
    properties = {each.Name: each.Value for each in reply.Elements[0].Properties}
    checks.equal("a property of doubles", properties["highEU"], 400.0)
    checks.equal("a property of texts", properties["accessRights"], "readable")
    checks.equal("a property of this server's own", properties["telvix:fractionalDigits"], 1)
    checks.fails("Browse of an unknown item is a fault", lambda: service.Browse(ItemName="nothing"),
                 fault("E_UNKNOWNITEMNAME"))
    checks.fails("a filter that is none is a fault", lambda: service.Browse(BrowseFilter="none"),
                 fault("E_INVALIDFILTER"))


def check_properties(service, checks):
    reply = service.GetProperties(
        ItemIDs=[{"ItemName": "boiler/mode"}, {"ItemName": "boiler/nothing"}],
        PropertyNames=["euInfo", "quality", "dataType"], ReturnPropertyValues=True, ClientRequestHandle="p")
    checks.equal("GetProperties leaves out what does not exist", [each.ItemName for each in reply.PropertyLists],
                 ["/boiler/mode"])
    properties = {each.Name: each.Value for each in reply.PropertyLists[0].Properties}
    checks.equal("the names of symbols", properties["euInfo"].string, ["off", "manual", "automatic"])
    checks.equal("the quality", properties["quality"], "good")
    checks.true("the type", str(properties["dataType"]).endswith("int"), repr(properties["dataType"]))
    checks.equal("GetProperties returns the handle", reply.GetPropertiesResult.ClientRequestHandle, "p")


def read(service, *names, **options):
    reply = service.Read(ItemList={"Items": [{"ItemName": name} for name in names]}, **options)
    return {item.ItemName: item.Value for item in reply.RItemList.Items}


def check_read(service, checks):
    reply = service.Read(Options={"ReturnItemTime": True, "ClientRequestHandle": "read-1"},
                         ItemList={"Items": [{"ItemName": "boiler/temperature_setpoint", "ClientItemHandle": "a"},
                                             {"ItemName": "boiler/nothing"}, {"ItemName": "boiler"}]})
    setpoint, domain = reply.RItemList.Items
    checks.equal("Read gives a double", setpoint.Value, 180.0)
    checks.equal("Read returns the item's handle", setpoint.ClientItemHandle, "a")
    checks.true("Read gives the time", setpoint.Timestamp.tzinfo is not None)
    checks.equal("a domain has no value", domain.Value, None)
    checks.equal("Read returns the request's handle", reply.ReadResult.ClientRequestHandle, "read-1")

    values = read(service, "boiler/burner_on", "boiler/flame_detectors", "boiler/mode", "feed_water/valve_setpoint",
                  "feed_water/trim", "feed_water/trim_steps", "feed_water/branch_positions", "turbine/counters/starts",
                  "turbine/counters/phase_energies", "maintenance/note", "maintenance/interval",
                  "maintenance/last_inspection", "maintenance/contacts", "boiler/pressure")
    checks.true("Read gives booleans", isinstance(values["/boiler/burner_on"], bool))
    checks.true("Read gives arrays of booleans", {type(each) for each in values["/boiler/flame_detectors"].boolean}
                == {bool})
    checks.equal("Read gives symbols as numbers", values["/boiler/mode"], 2)
    checks.true("Read gives unsigned bytes", isinstance(values["/feed_water/valve_setpoint"], int))
    checks.equal("Read gives bytes", values["/feed_water/trim"], -2)
    checks.equal("Read gives arrays of bytes", values["/feed_water/trim_steps"].byte, [-20, -10, 0, 10, 20])
    checks.equal("unsigned bytes in arrays come as signed ones", values["/feed_water/branch_positions"].byte,
                 [48, 52, -56])
    checks.true("Read gives unsigned integers", isinstance(values["/turbine/counters/starts"], int))
    checks.equal("Read gives arrays of long", len(values["/turbine/counters/phase_energies"].long), 3)
    checks.equal("Read gives strings", values["/maintenance/note"],
                 "Gasket of the drum manhole: check for leaks < 5 ml/min.")
    checks.equal("Read gives durations", values["/maintenance/interval"], datetime.timedelta(days=90))
    checks.true("Read gives times", values["/maintenance/last_inspection"]
                == datetime.datetime(2026, 9, 14, 6, 30, tzinfo=UTC), repr(values["/maintenance/last_inspection"]))
    checks.equal("Read gives arrays of strings", values["/maintenance/contacts"].string,
                 ["control room", "boiler house"])
    checks.true("Read gives floats", isinstance(values["/boiler/pressure"], float))
    checks.fails("A Read of an invalid path is a bad request", lambda: read(service, "a//b"), bad_request)


class OneOrZero(xsd.Boolean):
    """zeep writes "true" and "false"; the server reads "1" and "0"."""

    def xmlvalue(self, value):
        return "1" if value else "0"


def write(service, items, with_values=False):
    return service.Write(ReturnValuesOnReply=with_values, ItemList={"Items": items})


def check_write(client, service, checks):
    def array(name, members):
        kind = client.get_type("{%s}%s" % (XMLDA, name))
        return xsd.AnyObject(kind, kind(members))

    reply = write(service, [
        {"ItemName": "boiler/temperature_setpoint", "ClientItemHandle": "a",
         "Value": xsd.AnyObject(xsd.Double(), 185.5)},
        {"ItemName": "boiler/temperature", "Value": xsd.AnyObject(xsd.Double(), 99.0)},
        {"ItemName": "feed_water/trim", "Value": xsd.AnyObject(xsd.Byte(), 7)},
        {"ItemName": "feed_water/trim_steps", "Value": array("ArrayOfByte", [-1, 1])},
        {"ItemName": "maintenance/contacts", "Value": array("ArrayOfString", ["a & b", "ü"])},
        {"ItemName": "maintenance/interval",
         "Value": xsd.AnyObject(xsd.Duration(), isodate.parse_duration("P3DT4H"))},
        {"ItemName": "maintenance/last_inspection",
         "Value": xsd.AnyObject(xsd.DateTime(), datetime.datetime(2027, 1, 2, 3, 4, 5, tzinfo=UTC))},
        {"ItemName": "maintenance/note"},
        {"ItemName": "alarms/horn", "Value": xsd.AnyObject(OneOrZero(), True)},
    ], with_values=True)
    values = {item.ItemName: item.Value for item in reply.RItemList.Items}
    checks.true("Write leaves out what is read-only", "/boiler/temperature" not in values and len(values) == 8)
    checks.equal("Write returns the item's handle", reply.RItemList.Items[0].ClientItemHandle, "a")
    checks.equal("Write takes doubles", values["/boiler/temperature_setpoint"], 185.5)
    checks.equal("Write takes bytes", values["/feed_water/trim"], 7)
    checks.equal("Write takes arrays of bytes", values["/feed_water/trim_steps"].byte, [-1, 1])
    checks.equal("Write takes arrays of strings", values["/maintenance/contacts"].string, ["a & b", "ü"])
    checks.equal("Write takes durations", values["/maintenance/interval"], datetime.timedelta(days=3, hours=4))
    checks.true("Write takes times", values["/maintenance/last_inspection"]
                == datetime.datetime(2027, 1, 2, 3, 4, 5, tzinfo=UTC))
    checks.true("Write takes booleans", values["/alarms/horn"] is True)
    reply = write(service, [{"ItemName": "alarms/horn", "Value": xsd.AnyObject(xsd.Boolean(), True)}], with_values=True)
    checks.true("Write takes true for false", reply.RItemList.Items[0].Value is False)
    checks.true("Write without a value resets", values["/maintenance/note"] in (None, ""))
    checks.fails("Write of another type is a bad request", lambda: write(
        service, [{"ItemName": "boiler/mode", "Value": xsd.AnyObject(xsd.String(), "1")}]), bad_request)
    checks.fails("Write without ReturnValuesOnReply is a bad request", lambda: service.Write(
        ItemList={"Items": [{"ItemName": "maintenance/note"}]}), bad_request)


def poll(service, *handles, **arguments):
    reply = service.SubscriptionPolledRefresh(ServerSubHandles=list(handles), **arguments)
    items = reply.RItemList.Items if reply.RItemList else []  # an empty list comes as None
    return reply, {item.ItemName: item.Value for item in items}


def check_subscription(service, checks):
    reply = service.Subscribe(ReturnValuesOnReply=True, SubscriptionPingRate=60000, ItemList={"Items": [
        {"ItemName": "boiler/mode", "ClientItemHandle": "mode"}, {"ItemName": "boiler/nothing"},
        {"ItemName": "boiler/temperature_setpoint"}]})
    handle = reply.ServerSubHandle
    values = [(each.ItemValue.ItemName, each.ItemValue.Value) for each in reply.RItemList.Items]
    checks.equal("Subscribe gives the values", values, [("/boiler/mode", 2), ("/boiler/temperature_setpoint", 185.5)])
    checks.true("Subscribe gives a handle", bool(handle))

    checks.equal("the first poll reports all items", poll(service, handle)[1],
                 {"/boiler/mode": 2, "/boiler/temperature_setpoint": 185.5})
    checks.equal("the next poll reports nothing", poll(service, handle)[1], {})
    write(service, [{"ItemName": "boiler/mode", "Value": xsd.AnyObject(xsd.Int(), 1)}])
    hold_time = datetime.datetime.now(UTC) + datetime.timedelta(seconds=1)
    reply, values = poll(service, "1", handle, HoldTime=hold_time)
    checks.equal("a held poll reports the change", values, {"/boiler/mode": 1})
    checks.true("it is held until its hold time", datetime.datetime.now(UTC) >= hold_time)
    checks.equal("it names the handle that is none", reply.InvalidServerSubHandles, ["1"])

    checks.equal("SubscriptionCancel returns the handle", service.SubscriptionCancel(
        ServerSubHandle=handle, ClientRequestHandle="cancel-1"), "cancel-1")
    checks.fails("a second SubscriptionCancel is a fault", lambda: service.SubscriptionCancel(
        ServerSubHandle=handle, ClientRequestHandle="cancel-2"), fault("E_NOSUBSCRIPTION"))


def main():
    checks = Checks()
    client, service = connect(os.environ["KX_URL"])
    check_status(service, checks)
    check_browse(service, checks)
    check_properties(service, checks)
    check_read(service, checks)
    check_write(client, service, checks)
    check_subscription(service, checks)
    print(f"{checks.failures} failed")
    return 1 if checks.failures else 0


if __name__ == "__main__":
    sys.exit(main())
