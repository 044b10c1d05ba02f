#!/usr/bin/python3
"""Drives a gateway in front of a plant over the wire: services_test.py PLANT GATEWAY DESCRIPTION

DESCRIPTION is the folder of the published schema, against which every reply is validated.
"""

import datetime
import http.client
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import threading
import time
import unittest

from gateway_site import XMLDA, Certificate, Client, Gateway, Item, Recorder, Schema, envelope
from programs import Plant, wait_for

SKIPPED = 77

if not shutil.which("xmllint"):
    print("skipped: there is no xmllint (Debian package libxml2-utils)")
    sys.exit(SKIPPED)


def to_time(seconds_from_now):
    moment = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=seconds_from_now)
    return moment.strftime("%Y-%m-%dT%H:%M:%S.%fZ")


def in_background(action):
    """Runs an action on a thread; gives a function that waits for its result."""
    results = []
    thread = threading.Thread(target=lambda: results.append(action()), daemon=True)
    thread.start()

    def join():
        thread.join(120)
        if not results:
            raise AssertionError("the action has not ended")
        return results[0]

    join.is_running = thread.is_alive
    return join


def watch_as_page(gateway, names):
    """What a page hears first of each of these items."""
    connection = gateway.connect()
    connection.request("GET", "/api/events")
    reply = connection.getresponse()

    def next_event():
        event = None
        while True:
            line = reply.readline().decode().rstrip("\n")
            if line.startswith("event: "):
                event = line.removeprefix("event: ")
            if line.startswith("data: "):
                return event, json.loads(line.removeprefix("data: "))

    event, hello = next_event()
    assert event == "hello", event
    event, _ = next_event()
    assert event == "state", event
    watch = json.dumps({"page": hello["page"], "items": names})
    status, _ = gateway.send("POST", "/api/watch", watch, {"Content-Type": "application/json"})
    assert status == 200, status
    seen = {}
    while len(seen) < len(names):
        event, items = next_event()
        seen.update({item["item"]: item for item in items if event == "items"})
    connection.close()
    return seen


class Site(unittest.TestCase):
    plant_program = ""
    gateway_program = ""
    schema = None
    arguments = ()

    @classmethod
    def setUpClass(cls):
        cls.plant = Plant(cls.plant_program)
        cls.gateway = Gateway(cls.gateway_program, f"http://127.0.0.1:{cls.plant.port}", *cls.arguments)
        cls.gateway.wait_until_connected()
        cls.client = Client(cls.gateway, cls.schema)

    @classmethod
    def tearDownClass(cls):
        status, _ = cls.gateway.stop()  # only then leaks are looked for, and what has run is counted
        cls.plant.kill()
        if status != 0:
            raise AssertionError(f"the gateway has ended with {status}: {cls.gateway.read_errors()}")

    def figure(self, name):
        text = self.gateway.get("/metrics")[1].decode()
        return float(re.search(rf"^kx_gateway_{name} (\S+)$", text, re.MULTILINE)[1])

    def write(self, item, value, attributes='ReturnValuesOnReply="true"', more=""):
        response = self.client.call(f'<Write {attributes}><Options ReturnItemTime="true"/><ItemList>'
                                    f'<Items ItemName="{item}" {more}>{value}</Items></ItemList></Write>')
        return Item(response.find(f"{{{XMLDA}}}RItemList")[0])

    def subscribe(self, *items, attributes='ReturnValuesOnReply="true" SubscriptionPingRate="60000"', deadband="0"):
        content = "".join(f'<Items ItemName="{item}" ClientItemHandle="{item}"/>' for item in items)
        response = self.client.call(f'<Subscribe {attributes}><Options ReturnItemTime="true"/>'
                                    f'<ItemList Deadband="{deadband}">{content}</ItemList></Subscribe>')
        return response.get("ServerSubHandle"), [Item(value) for value in response.iter(f"{{{XMLDA}}}ItemValue")]

    def poll(self, *handles, attributes=""):
        content = "".join(f"<ServerSubHandles>{handle}</ServerSubHandles>" for handle in handles)
        return self.client.call(f"<SubscriptionPolledRefresh {attributes}><Options/>{content}"
                                "</SubscriptionPolledRefresh>")

    def poll_items(self, *handles, attributes=""):
        return [Item(element) for element in self.poll(*handles, attributes=attributes).iter(f"{{{XMLDA}}}Items")]


class ReadTest(Site):
    def test_status(self):
        response = self.client.call('<GetStatus ClientRequestHandle="7" LocaleID="de-DE"/>')
        result, status = response
        self.assertEqual(result.get("ClientRequestHandle"), "7")
        self.assertEqual(result.get("RevisedLocaleID"), "en-US")
        self.assertEqual(result.get("ServerState"), "running")
        self.assertEqual(status.find(f"{{{XMLDA}}}SupportedInterfaceVersions").text, "XML_DA_Version_1_0")

    def test_every_item_is_answered_in_order(self):
        response = self.client.call(
            '<Read><Options ReturnItemTime="1" ReturnItemName="true" ReturnItemPath="true" ClientRequestHandle="r"/>'
            '<ItemList ItemPath="/boiler"><Items ItemName="temperature" ClientItemHandle="a"/>'
            '<Items ItemName="nothing" ClientItemHandle="b"/><Items ItemName="x//y"/>'
            '<Items ItemPath="" ItemName="mode" ClientItemHandle=""/><Items ItemName="."/></ItemList></Read>')
        self.assertEqual(response[0].tag, f"{{{XMLDA}}}ReadResult")
        items = [Item(element) for element in response[1]]
        self.assertEqual([item.code for item in items],
                         ["", "E_UNKNOWNITEMNAME", "E_INVALIDITEMNAME", "", "E_UNKNOWNITEMNAME"])
        self.assertEqual([item.handle for item in items], ["a", "b", None, "", None])
        self.assertEqual([item.quality for item in items], ["good", "bad", "bad", "good", "bad"])
        self.assertEqual(items[0].type, "xsd:double")
        self.assertRegex(items[0].time, r"^\d{4}-\d\d-\d\dT.*Z$")
        self.assertEqual(items[0].element.get("ItemPath"), "/boiler")
        self.assertEqual(items[0].element.get("ItemName"), "temperature")
        errors = {error.get("ID"): error[0].text for error in response.findall(f"{{{XMLDA}}}Errors")}
        self.assertEqual(set(errors), {"da:E_UNKNOWNITEMNAME", "da:E_INVALIDITEMNAME"})
        self.assertTrue(all(errors.values()))

    def test_no_texts_unless_asked_for(self):
        response = self.client.call('<Read><Options ReturnErrorText="false"/><ItemList><Items ItemName="no"/>'
                                    '</ItemList></Read>')
        self.assertEqual(response.findall(f"{{{XMLDA}}}Errors"), [])
        self.assertIsNone(Item(response[1][0]).element.get("ItemName"))

    def test_types_of_the_plant(self):
        names = ["/boiler/burner_on", "/boiler/flame_detectors", "/boiler/temperature", "/feed_water/trim_steps",
                 "/maintenance/note", "/boiler/mode"]
        burner, detectors, temperature, steps, note, mode = self.client.read(*names)
        self.assertEqual((burner.type, burner.text in ("true", "false")), ("xsd:boolean", True))
        self.assertEqual(detectors.type, "da:ArrayOfBoolean")
        self.assertLessEqual(set(detectors.members), {"true", "false"})
        self.assertEqual(temperature.type, "xsd:double")
        self.assertEqual((steps.type, steps.members), ("da:ArrayOfByte", ["-20", "-10", "0", "10", "20"]))
        self.assertEqual(note.type, "xsd:string")
        self.assertEqual(mode.type, "xsd:int")

    def test_all_items_of_the_plant_are_valid(self):
        branches, names = ["/"], []
        while branches:
            response = self.client.call(f'<Browse ItemName="{branches.pop()}"/>')
            for element in response.findall(f"{{{XMLDA}}}Elements"):
                (names if element.get("IsItem") == "true" else branches).append(element.get("ItemName"))
        items = self.client.read(*names)
        self.assertGreater(len(items), 30)
        self.assertEqual({item.code for item in items}, {""})
        self.assertIn("badSensorFailure", {item.quality for item in items})
        for name in names:
            self.client.call(f'<GetProperties ReturnAllProperties="true" ReturnPropertyValues="true">'
                             f'<ItemIDs ItemName="{name}"/></GetProperties>')

    def test_types_asked_for(self):
        def read(item, kind):
            response = self.client.call(f'<Read><ItemList><Items ItemName="{item}" ReqType="{kind}"/></ItemList></Read>')
            return Item(response[1][0])

        self.assertEqual(read("/boiler/mode", "xsd:string").type, "xsd:string")
        self.assertEqual(read("/boiler/mode", "xsd:double").text, "2")
        self.assertRegex(read("/boiler/temperature", "xsd:int").text, r"^\d+$")
        self.assertEqual(read("/boiler/burner_on", "xsd:int").text, "1")
        self.assertEqual(read("/feed_water/trim_steps", "x:ArrayOfDouble").members, ["-20", "-10", "0", "10", "20"])
        refused = read("/maintenance/note", "xsd:int")
        self.assertEqual((refused.code, refused.text, refused.quality), ("E_BADTYPE", None, "bad"))

    def test_other_prefixes_and_no_namespace(self):
        status, body = self.gateway.send(
            "POST", "/any/path", f'<?xml version="1.0" encoding="ISO-8859-1"?><e:Envelope'
            f' xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Header/><e:Body><o:Read xmlns:o="{XMLDA}">'
            '<o:ItemList><Items ItemName="boiler/mode"/></o:ItemList></o:Read></e:Body></e:Envelope>'.encode(),
            {"Content-Type": "application/soap+xml"})
        self.assertEqual(status, 200)
        self.schema.validate(body)
        self.assertIn(b'"xsd:int">2<', body)

    def test_faults(self):
        self.assertEqual(self.client.fail("<Unknown/>"), "soap:Client")
        self.assertEqual(self.client.fail('<SubscriptionCancel ServerSubHandle="1"/>'), "da:E_NOSUBSCRIPTION")
        self.assertEqual(self.client.fail('<Browse ItemName="/nothing"/>'), "da:E_UNKNOWNITEMNAME")
        self.assertEqual(self.client.fail('<Browse ItemName="a//b"/>'), "da:E_INVALIDITEMNAME")
        self.assertEqual(self.client.fail('<Browse BrowseFilter="Branch"/>'), "da:E_INVALIDFILTER")
        self.assertEqual(self.client.fail('<Read><Options ReturnItemTime="maybe"/></Read>'), "soap:Client")
        for body in (b"", b"no XML", b"<a/>", b"<!DOCTYPE a><a/>", envelope("")):
            status, reply = self.gateway.send("POST", "/", body, {"Content-Type": "text/xml"})
            self.assertEqual(status, 500)
            self.schema.validate(reply)

    def test_headers_that_must_be_understood(self):
        header = b'<soap:Header><w:Security xmlns:w="urn:w" soap:mustUnderstand="1"/></soap:Header><soap:Body'
        body = envelope("<GetStatus/>").replace(b"<soap:Body", header, 1)
        status, reply = self.gateway.send("POST", "/", body, {"Content-Type": "text/xml"})
        self.assertEqual(status, 500)
        self.schema.validate(reply)
        self.assertIn(b"<faultcode>soap:MustUnderstand</faultcode>", reply)


class BrowseTest(Site):
    def browse(self, attributes="", content=""):
        response = self.client.call(f"<Browse {attributes}>{content}</Browse>")
        return response, [element for element in response if element.tag == f"{{{XMLDA}}}Elements"]

    def names(self, attributes):
        return [element.get("Name") for element in self.browse(attributes)[1]]

    def test_root_has_branches(self):
        response, elements = self.browse()
        self.assertEqual(response.get("MoreElements"), "false")
        self.assertEqual({element.get("IsItem") for element in elements}, {"false"})
        self.assertEqual({element.get("HasChildren") for element in elements}, {"true"})
        self.assertEqual(elements[0].get("ItemName"), "/boiler")

    def test_variable_has_nothing_below(self):
        self.assertEqual(self.names('ItemName="/boiler/mode"'), [])

    def test_filters(self):
        everything = self.names('ItemName="/turbine"')
        branches = self.names('ItemName="/turbine" BrowseFilter="branch"')
        items = self.names('ItemPath="turbine" BrowseFilter="item"')
        self.assertTrue(branches and items)
        self.assertEqual(sorted(branches + items), sorted(everything))
        self.assertEqual(self.names('ItemName="/boiler" ElementNameFilter="temp*"'),
                         ["temperature", "temperature_setpoint"])

    def test_pages(self):
        everything = self.names('ItemName="/boiler"')
        found, point = [], ""
        while True:
            response, elements = self.browse(f'ItemName="/boiler" MaxElementsReturned="4" ContinuationPoint="{point}"')
            self.assertLessEqual(len(elements), 4)
            found += [element.get("Name") for element in elements]
            point = response.get("ContinuationPoint")
            self.assertEqual(response.get("MoreElements"), "true" if point else "false")
            if not point:
                break
        self.assertEqual(found, everything)
        self.assertEqual(self.client.fail('<Browse ContinuationPoint="/boiler/mode"/>'), "da:E_INVALIDCONTINUATIONPOINT")

    def test_properties(self):
        _, elements = self.browse('ItemName="/boiler" ElementNameFilter="temperature" ReturnPropertyValues="true"',
                                  "<PropertyNames>x:dataType</PropertyNames><PropertyNames>quality</PropertyNames>"
                                  "<PropertyNames>scanRate</PropertyNames><PropertyNames>nothing</PropertyNames>"
                                  '<PropertyNames xmlns:v="urn:telvix:information-model:1.0">v:delta</PropertyNames>')
        found = {element.get("Name"): element for element in elements[0]}
        self.assertEqual(list(found), ["da:dataType", "da:quality", "da:scanRate", "da:nothing", "telvix:delta"])
        self.assertEqual(found["da:dataType"][0].text, "xsd:double")
        self.assertEqual(found["da:quality"][0].get("QualityField"), "good")
        self.assertEqual(found["da:scanRate"][0].text, "250")
        self.assertEqual(found["da:nothing"].get("ResultID"), "da:E_INVALIDPID")

    def test_get_properties(self):
        response = self.client.call('<GetProperties ItemPath="/boiler" ReturnAllProperties="true">'
                                    '<ItemIDs ItemName="mode"/><ItemIDs ItemName="none"/><ItemIDs ItemName="..."/>'
                                    '<ItemIDs ItemName=".."/></GetProperties>')
        lists = response.findall(f"{{{XMLDA}}}PropertyLists")
        self.assertEqual([entry.get("ResultID") for entry in lists],
                         [None, "da:E_UNKNOWNITEMNAME", "da:E_UNKNOWNITEMNAME", "da:E_INVALIDITEMNAME"])
        self.assertIn("da:accessRights", [entry.get("Name") for entry in lists[0]])
        self.assertEqual([len(entry) for entry in lists[0]], [0] * len(lists[0]))


class WriteTest(Site):
    def test_value_is_converted(self):
        for number, text in enumerate(('<Value xsi:type="xsd:int">181</Value>', '<x:Value xsi:type="xsd:float">182</x:Value>',
                                       '<Value xmlns="" xsi:type="xsd:string"> 183 </Value>', "<Value>184</Value>")):
            result = self.write("/boiler/temperature_setpoint", text)
            self.assertEqual((result.code, float(result.text), result.quality), ("", 181 + number, "good"))
            self.assertTrue(result.time)

    def test_booleans(self):
        item = self.find_writable("boolean")
        for text, expected in (("true", "true"), ("0", "false"), ("1", "true"), ("false", "false")):
            self.assertEqual(self.write(item, f'<Value xsi:type="xsd:boolean">{text}</Value>').text, expected)

    def find_writable(self, kind):
        body = self.gateway.get("/api/browse?item=%2F")[1]
        branches = [element["item"] for element in json.loads(body)["elements"]]
        while branches:
            for element in json.loads(self.gateway.get("/api/browse?item=" + branches.pop())[1])["elements"]:
                if element.get("type") == kind and element["writable"]:
                    return element["item"]
                if not element["variable"]:
                    branches.append(element["item"])
        raise AssertionError(f"the plant has no writable {kind}")

    def test_array(self):
        item = self.find_writable("ArrayOfByte")
        result = self.write(item, '<Value xsi:type="x:ArrayOfByte"><byte>1</byte><byte>-2</byte><byte xmlns="">3</byte>'
                                  '<byte>4</byte><byte>5</byte></Value>')
        self.assertEqual((result.code, result.members), ("", ["1", "-2", "3", "4", "5"]))
        result = self.write(item, '<Value xsi:type="xsd:base64Binary">AQIDBP8=</Value>')
        self.assertEqual((result.code, result.members), ("", ["1", "2", "3", "4", "-1"]))

    def test_what_is_refused(self):
        cases = [("/boiler/temperature", '<Value xsi:type="xsd:double">1</Value>', "E_READONLY"),
                 ("/boiler/nothing", '<Value xsi:type="xsd:double">1</Value>', "E_UNKNOWNITEMNAME"),
                 ("/boiler", '<Value xsi:type="xsd:double">1</Value>', "E_UNKNOWNITEMNAME"),
                 ("//", '<Value xsi:type="xsd:double">1</Value>', "E_INVALIDITEMNAME"),
                 ("/boiler/temperature_setpoint", '<Value xsi:type="xsd:string">warm</Value>', "E_BADTYPE"),
                 ("/boiler/temperature_setpoint", '<Value xsi:type="xsd:double">NaN</Value>', "E_RANGE"),
                 ("/boiler/temperature_setpoint", '<Value xsi:type="x:ArrayOfDouble"/>', "E_BADTYPE"),
                 ("/boiler/temperature_setpoint", "", "E_BADTYPE"),
                 ("/boiler/temperature_setpoint", '<Value xsi:nil="true"/>', "E_BADTYPE"),
                 ("/boiler/mode", '<Value xsi:type="xsd:int">9</Value>', "E_RANGE"),
                 ("/boiler/mode", '<Value xsi:type="xsd:double">0.5</Value>', "E_BADTYPE"),
                 ("/boiler/mode", '<Value xsi:type="xsd:int">1</Value><Quality QualityField="bad"/>', "E_NOTSUPPORTED")]
        before = self.client.read("/boiler/temperature_setpoint", "/boiler/mode")
        for item, value, code in cases:
            with self.subTest(item=item, value=value):
                result = self.write(item, value)
                self.assertEqual((result.code, result.text), (code, None))
        after = self.client.read("/boiler/temperature_setpoint", "/boiler/mode")
        self.assertEqual([item.text for item in after], [item.text for item in before])

    def test_one_item_does_not_spoil_the_others(self):
        response = self.client.call(
            '<Write ReturnValuesOnReply="false"><ItemList><Items ItemName="/boiler/nothing"><Value>1</Value></Items>'
            '<Items ItemName="/boiler/temperature_setpoint"><Value>185</Value></Items>'
            '<Items ItemName="/boiler/mode"><Value>many</Value></Items></ItemList></Write>')
        items = [Item(element) for element in response.iter(f"{{{XMLDA}}}Items")]
        self.assertEqual([item.code for item in items], ["E_UNKNOWNITEMNAME", "", "E_BADTYPE"])
        self.assertIsNone(items[1].text)
        self.assertEqual(float(self.client.read("/boiler/temperature_setpoint")[0].text), 185)

    def test_times_and_durations(self):
        for kind, good, bad in (("dateTime", "2026-11-21T10:11:12Z", "soon"), ("duration", "PT30M", "long")):
            item = self.find_writable(kind)
            self.assertEqual(self.write(item, f'<Value xsi:type="xsd:{kind}">{good}</Value>').text, good)
            self.assertEqual(self.write(item, f'<Value xsi:type="xsd:{kind}">{bad}</Value>').code, "E_BADTYPE")


class SubscriptionTest(Site):
    def test_values_and_changes(self):
        handle, items = self.subscribe("/boiler/temperature_setpoint", "/boiler/nothing", "/maintenance/note")
        self.assertEqual([item.code for item in items], ["", "E_UNKNOWNITEMNAME", ""])
        self.assertTrue(items[0].text)
        self.assertEqual(self.poll_items(handle), [])
        self.write("/boiler/temperature_setpoint", "<Value>186</Value>")
        found = self.poll_items(handle, attributes='WaitTime="60000"')
        self.assertEqual([(item.handle, float(item.text), item.quality) for item in found],
                         [("/boiler/temperature_setpoint", 186, "good")])
        self.assertEqual(self.poll_items(handle), [])
        self.assertEqual(len(self.poll_items(handle, attributes='ReturnAllItems="true"')), 2)

    def test_first_poll_tells_all_where_the_reply_did_not(self):
        handle, items = self.subscribe("/maintenance/note", attributes='ReturnValuesOnReply="false"')
        self.assertEqual([(item.code, item.text) for item in items], [("", None)])
        self.assertEqual(len(self.poll_items(handle)), 1)
        self.assertEqual(self.poll_items(handle), [])

    def test_no_valid_item_is_no_subscription(self):
        handle, items = self.subscribe("/nothing")
        self.assertIsNone(handle)
        self.assertEqual(items[0].code, "E_UNKNOWNITEMNAME")

    def test_lists_of_several(self):
        first, _ = self.subscribe("/boiler/mode")
        second, _ = self.subscribe("/maintenance/note")
        response = self.poll(first, "unknown", second, attributes='ReturnAllItems="true"')
        self.assertEqual([element.text for element in response.findall(f"{{{XMLDA}}}InvalidServerSubHandles")], ["unknown"])
        lists = response.findall(f"{{{XMLDA}}}RItemList")
        self.assertEqual([entry.get("SubscriptionHandle") for entry in lists], [first, second])
        self.assertEqual([len(entry) for entry in lists], [1, 1])

    def test_repeated_handles_count_once(self):
        handle, _ = self.subscribe("/boiler/mode")
        response = self.poll(handle, "unknown", handle, "unknown", attributes='ReturnAllItems="true"')
        self.assertEqual([len(entry) for entry in response.findall(f"{{{XMLDA}}}RItemList")], [1])
        self.assertEqual(len(response.findall(f"{{{XMLDA}}}InvalidServerSubHandles")), 1)

    def test_hold_is_held(self):
        handle, _ = self.subscribe("/maintenance/note")
        begin = time.monotonic()
        self.poll(handle, attributes=f'HoldTime="{to_time(1)}"')
        self.assertGreaterEqual(time.monotonic() - begin, 0.9)
        self.assertEqual(self.client.fail(f'<SubscriptionPolledRefresh HoldTime="{to_time(9000)}"><ServerSubHandles>'
                                          f'{handle}</ServerSubHandles></SubscriptionPolledRefresh>'),
                         "da:E_INVALIDHOLDTIME")

    def test_wait_ends_with_the_time(self):
        handle, _ = self.subscribe("/maintenance/note")
        begin = time.monotonic()
        self.assertEqual(self.poll_items(handle, attributes='WaitTime="700"'), [])
        self.assertGreaterEqual(time.monotonic() - begin, 0.65)

    def test_cancel(self):
        handle, _ = self.subscribe("/maintenance/note")
        waiting = in_background(lambda: self.poll(handle, attributes='WaitTime="600000"'))
        wait_for(waiting.is_running, "the poll begins")
        response = self.client.call(f'<SubscriptionCancel ServerSubHandle="{handle}" ClientRequestHandle="c"/>')
        self.assertEqual(response.get("ClientRequestHandle"), "c")
        waiting()
        self.assertEqual(self.client.fail(f'<SubscriptionCancel ServerSubHandle="{handle}"/>'), "da:E_NOSUBSCRIPTION")
        self.assertEqual(self.poll(handle).findall(f"{{{XMLDA}}}InvalidServerSubHandles")[0].text, handle)

    def test_later_poll_takes_the_place_of_an_earlier(self):
        handle, _ = self.subscribe("/boiler/temperature_setpoint")
        earlier = in_background(lambda: self.poll_items(handle, attributes='WaitTime="600000"'))
        time.sleep(0.2)  # whichever comes first, both must end
        later = in_background(lambda: self.poll_items(handle, attributes='WaitTime="600000"'))
        wait_for(lambda: not (earlier.is_running() and later.is_running()), "one of them ends")
        self.write("/boiler/temperature_setpoint", "<Value>187.5</Value>")
        found = earlier() + later()
        self.assertEqual([float(item.text) for item in found], [187.5])

    def test_deadband(self):
        self.write("/boiler/temperature_setpoint", "<Value>180</Value>")
        handle, items = self.subscribe("/boiler/temperature_setpoint", deadband="10")
        self.assertEqual(float(items[0].text), 180)
        watching, _ = self.subscribe("/boiler/temperature_setpoint")
        self.write("/boiler/temperature_setpoint", "<Value>181</Value>")
        self.assertEqual(len(self.poll_items(watching, attributes='WaitTime="60000"')), 1)
        self.assertEqual(self.poll_items(handle), [])
        self.write("/boiler/temperature_setpoint", "<Value>290</Value>")
        self.assertEqual([float(item.text) for item in self.poll_items(handle, attributes='WaitTime="60000"')], [290])

    def test_client_that_leaves_frees_its_poll(self):
        handle, _ = self.subscribe("/boiler/temperature_setpoint")
        body = envelope(f'<SubscriptionPolledRefresh WaitTime="600000"><ServerSubHandles>{handle}</ServerSubHandles>'
                        '</SubscriptionPolledRefresh>')
        with socket.create_connection(("127.0.0.1", self.gateway.port)) as connection:
            connection.sendall(b"POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: text/xml\r\nContent-Length: "
                               + str(len(body)).encode() + b"\r\n\r\n" + body)
            wait_for(lambda: self.figure("clients") >= 2, "the poll is there")
        wait_for(lambda: self.figure("clients") == 1, "it is gone")  # the one that asks
        self.write("/boiler/temperature_setpoint", "<Value>188</Value>")
        self.assertEqual(len(self.poll_items(handle, attributes='WaitTime="60000"')), 1)

    def test_load_on_the_server_does_not_grow_with_clients(self):
        for _ in range(30):
            self.subscribe("/boiler/temperature", "/boiler/pressure")
        self.assertLessEqual(self.figure("watched_items"), 10)
        self.assertLessEqual(self.figure("server_connections"), 3)


class WebTest(Site):
    arguments = ("--name", "gateway.example", "--metrics", "/boiler/temperature", "--metrics", "/boiler")

    def test_description(self):
        status, body = self.gateway.get("/opc?WSDL")
        self.assertEqual(status, 200)
        text = body.decode()
        self.assertIn(f'location="http://127.0.0.1:{self.gateway.port}/opc"', text)
        self.assertIn('name="SubscriptionPolledRefreshResponse"', text)
        self.assertNotIn("@", text)
        subprocess.run(["xmllint", "--noout", "-"], input=body, check=True)
        behind_proxy = self.gateway.get("/?wsdl", **{"Host": "gateway.example", "X-Forwarded-Proto": "https"})[1]
        self.assertIn(b'location="https://gateway.example/"', behind_proxy)
        below_a_path = self.gateway.get("/?wsdl", **{"X-Forwarded-Prefix": "/plant"})[1].decode()
        self.assertIn(f'location="http://127.0.0.1:{self.gateway.port}/plant/"', below_a_path)

    def test_metrics(self):
        body = self.gateway.get("/metrics")[1]
        text = body.decode()
        self.assertRegex(text, r'(?m)^xmlda_item_value\{item="/boiler/temperature",unit="degC",quality="good"\} \d')
        self.assertRegex(text, r'(?m)^xmlda_item_value\{item="/boiler/burner_on",unit="",quality="good"\} [01]$')
        self.assertNotIn('"/turbine', text)
        self.assertEqual(text.count('item="/boiler/temperature"'), 1)
        self.assertIn("kx_gateway_server_up 1\n", text)
        if shutil.which("promtool"):
            subprocess.run(["promtool", "check", "metrics"], input=body, check=True, capture_output=True)

    def test_foreign_pages_are_refused(self):
        self.assertEqual(self.gateway.get("/", Host="evil.example")[0], 421)
        self.assertEqual(self.gateway.get("/", Host="gateway.example:80")[0], 200)
        self.assertEqual(self.gateway.get("/", Host="[::1]:8090")[0], 200)
        write = json.dumps({"item": "/boiler/temperature_setpoint", "value": 1})
        for headers, status in (({"Content-Type": "application/json", "Origin": "http://evil.example"}, 403),
                                ({"Content-Type": "application/json", "Origin": "null"}, 403),
                                ({"Content-Type": "text/plain"}, 415), ({}, 415)):
            self.assertEqual(self.gateway.send("POST", "/api/write", write, headers)[0], status)
        for kind in ("text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x"):
            self.assertEqual(self.gateway.send("POST", "/", envelope("<GetStatus/>"), {"Content-Type": kind})[0], 415)
        self.assertNotEqual(float(self.client.read("/boiler/temperature_setpoint")[0].text), 1)

    def test_own_page_may_write(self):
        write = json.dumps({"item": "/boiler/temperature_setpoint", "value": "189.5"})
        host = f"127.0.0.1:{self.gateway.port}"
        status, body = self.gateway.send("POST", "/api/write", write,
                                         {"Content-Type": "application/json", "Origin": f"http://{host}", "Host": host})
        self.assertEqual((status, json.loads(body)), (200, {"code": "", "text": "", "value": 189.5}))

    def exchange(self, *lines):
        """Sends lines of HTTP; gives all that comes until the gateway closes."""
        with socket.create_connection(("127.0.0.1", self.gateway.port), timeout=120) as connection:
            connection.sendall("".join(line + "\r\n" for line in lines).encode())
            reply = b""
            while part := connection.recv(65536):
                reply += part
            return reply

    def test_heads_have_no_body(self):
        get_page = self.gateway.get("/")[1]
        reply = self.exchange("HEAD / HTTP/1.1", "Host: localhost", "",
                              "HEAD /nothing HTTP/1.1", "Host: localhost", "",
                              "DELETE / HTTP/1.1", "Host: localhost", "Connection: close", "")
        self.assertEqual(re.findall(rb"(?m)^HTTP/1.1 (\d+)", reply), [b"200", b"404", b"405"])
        self.assertIn(f"\r\nContent-Length: {len(get_page)}\r\n\r\nHTTP/1.1 404".encode(), reply)
        self.assertIn(b"\r\n\r\nHTTP/1.1 405", reply)
        self.assertIn(b"\r\nAllow: GET, HEAD, POST\r\n", reply)
        self.assertTrue(self.exchange("HEAD /api/events HTTP/1.1", "Host: localhost", "").endswith(b"\r\n\r\n"))

    def test_one_host_is_asked(self):
        for hosts in ((), ("Host: localhost", "Host: localhost")):
            self.assertTrue(self.exchange("GET / HTTP/1.1", *hosts, "").startswith(b"HTTP/1.1 400 "))
        self.assertTrue(self.exchange("GET /nothing HTTP/1.0", "").startswith(b"HTTP/1.0 404 "))
        close = ("Host: localhost", "Connection: close", "")
        for target, status in (("http://evil.example/", b"421"), ("http://gateway.example/page.css", b"200"),
                               ("http://gateway.example", b"200")):
            self.assertTrue(self.exchange(f"GET {target} HTTP/1.1", *close).startswith(b"HTTP/1.1 " + status))
        described = self.exchange("GET http://gateway.example?wsdl HTTP/1.1", *close)
        self.assertIn(b'location="http://gateway.example/"', described)

    def test_odd_requests(self):
        self.assertEqual(self.gateway.get("/nothing")[0], 404)
        self.assertEqual(self.gateway.send("DELETE", "/")[0], 405)
        deep = b'{"item":"/boiler/mode","value":' + b"[" * 100_000 + b"]" * 100_000 + b"}"
        headers = {"Content-Type": "application/json"}
        for body in (b"", b"[]", b"{}", b"{", deep, b'{"item":1,"value":{}}', b'{"value":[[1]],"item":"/boiler/mode"}'):
            self.assertIn(self.gateway.send("POST", "/api/write", body, headers)[0], (200, 400))
            self.assertEqual(self.gateway.send("POST", "/api/watch", body, headers)[0], 400)
        for path in ("/api/write", "/api/watch"):
            self.assertEqual(self.gateway.send("POST", path, b"[" * (2 << 20), headers)[0], 413)
        self.assertEqual(self.gateway.get("/api/browse?item=%2Fnothing")[0], 404)
        self.assertEqual(self.gateway.get("/api/browse?item=%00")[0], 400)
        self.assertEqual(self.client.read("/boiler/mode")[0].code, "")

    def test_events(self):
        seen = watch_as_page(self.gateway, ["/boiler/temperature", "/boiler/mode", "/nothing"])
        self.assertEqual(seen["/boiler/mode"]["quality"], "good")
        self.assertTrue(seen["/nothing"]["gone"])
        self.assertIsInstance(seen["/boiler/temperature"]["value"], float)


class AwayTest(Site):
    def test_subscription_survives_the_server(self):
        handle, items = self.subscribe("/boiler/temperature_setpoint", "/maintenance/note")
        value = items[0].text
        self.plant.kill()
        found = self.poll_items(handle, attributes='WaitTime="60000"')
        self.assertEqual({(item.code, item.quality) for item in found}, {("", "badLastKnownValue")})
        read, never = self.client.read("/boiler/temperature_setpoint", "/turbine/never_asked_for")
        self.assertEqual((read.text, read.quality), (value, "badLastKnownValue"))
        self.assertEqual((never.text, never.quality), (None, "badCommFailure"))
        self.assertEqual(self.client.call("<GetStatus/>")[0].get("ServerState"), "commFault")
        self.assertEqual(self.write("/boiler/temperature_setpoint", "<Value>1</Value>").code, "E_SERVERSTATE")
        self.assertEqual(self.client.fail("<Browse/>"), "da:E_SERVERSTATE")
        later, items = self.subscribe("/boiler/mode")  # before anybody knows whether it exists
        self.assertEqual((items[0].code, items[0].quality), ("", "badCommFailure"))
        self.assertIn("does not answer", self.gateway.read())

        type(self).plant = Plant(self.plant_program, self.plant.port)
        found = self.poll_items(handle, attributes='WaitTime="60000"')
        wait_for(lambda: self.client.call("<GetStatus/>")[0].get("ServerState") == "running", "the server is back")
        self.assertIn("good", {item.quality for item in found + self.poll_items(handle)})
        wait_for(lambda: "good" in {item.quality for item in self.poll_items(later)}, "the other one, too")
        self.write("/boiler/temperature_setpoint", "<Value>190.25</Value>")
        wait_for(lambda: [item for item in self.poll_items(handle, attributes='WaitTime="60000"')
                          if float(item.text or 0) == 190.25], "the change")

    def test_killed_gateway(self):
        """Its clients subscribe anew; the server is left with one subscription that nobody polls."""
        recorder = Recorder(self.plant)
        self.addCleanup(recorder.close)
        server = f"http://127.0.0.1:{recorder.port}"
        gateway = Gateway(self.gateway_program, server, "--sample", "50").wait_until_connected()
        poll = "<SubscriptionPolledRefresh><ServerSubHandles>{}</ServerSubHandles></SubscriptionPolledRefresh>"
        handles = []
        for item in ("/boiler/temperature", "/boiler/pressure", "/boiler/mode", "/maintenance/note"):
            subscribe = f'<Subscribe><ItemList><Items ItemName="{item}"/></ItemList></Subscribe>'
            handles.append(Client(gateway, self.schema).call(subscribe).get("ServerSubHandle"))
            wait_for(lambda: recorder.items == len(handles) and len(recorder.subscriptions) == 1,
                     "the server has one subscription, with all items")
        gateway.kill()
        self.assertEqual(len(recorder.subscriptions), 1)
        gateway = Gateway(self.gateway_program, server, port=gateway.port).wait_until_connected()
        client = Client(gateway, self.schema)
        for handle in handles:
            unknown = client.call(poll.format(handle)).find(f"{{{XMLDA}}}InvalidServerSubHandles")
            self.assertEqual(unknown.text, handle)
        self.assertEqual(gateway.stop()[0], 0)

    def test_hanging_server(self):
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            gateway = Gateway(self.gateway_program, f"http://127.0.0.1:{silent.getsockname()[1]}", "--server-patience", "1")
            client = Client(gateway, self.schema)
            self.assertEqual(client.read("/boiler/mode")[0].quality, "badCommFailure")
            wait_for(lambda: "does not answer" in gateway.read(), "the gateway says so")
            self.assertEqual(watch_as_page(gateway, ["/boiler/level"])["/boiler/level"]["quality"], "badCommFailure")
            self.assertEqual(gateway.stop()[0], 0)


class BoundsTest(Site):
    arguments = ("--max-request", "1", "--max-subscriptions", "3", "--max-items", "10", "--max-clients", "20",
                 "--client-patience", "1")

    def test_large_requests(self):
        for length in (2 << 20, 1 << 40):
            connection = http.client.HTTPConnection("127.0.0.1", self.gateway.port, timeout=120)
            connection.putrequest("POST", "/")
            connection.putheader("Content-Length", str(length))
            connection.endheaders()
            self.assertEqual(connection.getresponse().status, 413)
            connection.close()

    def test_many_elements(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.gateway.port, timeout=120)
        connection.request("POST", "/", envelope("<a/>" * 200_000), {"Content-Type": "text/xml"})
        self.assertEqual(connection.getresponse().status, 500)
        connection.close()

    def test_subscriptions(self):
        handles = [self.subscribe("/boiler/mode")[0] for _ in range(3)]
        subscribe = '<Subscribe ReturnValuesOnReply="true"><ItemList><Items ItemName="/boiler/mode"/>'
        self.assertEqual(self.client.fail(subscribe + "</ItemList></Subscribe>"), "da:E_BUSY")
        self.client.call(f'<SubscriptionCancel ServerSubHandle="{handles[0]}"/>')
        self.assertEqual(self.client.fail(subscribe + '<Items ItemName="/boiler/level"/>' * 10 + "</ItemList></Subscribe>"),
                         "da:E_OUTOFMEMORY")
        long_handle = subscribe.replace("<Items ", f'<Items ClientItemHandle="{"x" * 20_000}" ') + "</ItemList></Subscribe>"
        self.assertEqual(self.client.fail(long_handle), "da:E_OUTOFMEMORY")
        for handle in handles[1:]:
            self.client.call(f'<SubscriptionCancel ServerSubHandle="{handle}"/>')

    def test_silent_clients_are_disconnected(self):
        for text in (b"", b"POST / HT", b"POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 10\r\n\r\nabc"):
            with socket.create_connection(("127.0.0.1", self.gateway.port), timeout=120) as connection:
                connection.sendall(text)
                self.assertEqual(connection.recv(100), b"")

    def test_too_many_clients(self):
        connections = [socket.create_connection(("127.0.0.1", self.gateway.port)) for _ in range(40)]
        try:
            def count_closed():
                closed = 0
                for connection in connections:
                    connection.setblocking(False)
                    try:
                        closed += connection.recv(1) == b""
                    except BlockingIOError:
                        pass
                    except ConnectionResetError:
                        closed += 1
                return closed

            wait_for(lambda: count_closed() >= 20, "those that are too many are closed")
        finally:
            for connection in connections:
                connection.close()

        def is_served():
            try:
                return self.gateway.get("/api/status")[0] == 200
            except ConnectionError:
                return False  # closed, as one too many, until the gateway has seen that the others left

        wait_for(is_served, "others are served")


class FloodTest(Site):
    """Many large requests at one time."""

    MIB = 1024
    arguments = ("--max-memory", "48", "--max-request", "8", "--max-clients", "150", "--client-patience", "5")

    def get_memory(self, name):
        """In KiB; "VmHWM" is the most there was."""
        with open(f"/proc/{self.gateway.process.pid}/status", encoding="utf-8") as file:
            return int(re.search(rf"^{name}:\s+(\d+) kB$", file.read(), re.MULTILINE)[1])

    def flood(self, count, body, length):
        """Sends it on connections of its own at one time, and gives the statuses of the replies; 0 if there was none."""
        connections = []
        for _ in range(count):
            connection = self.gateway.connect()
            connections.append(connection)
            try:
                connection.putrequest("POST", "/")
                connection.putheader("Content-Type", "text/xml")
                connection.putheader("Content-Length", str(length))
                connection.endheaders(body)
            except OSError:
                pass  # refused already
        statuses = []
        for connection in connections:
            try:
                statuses.append(connection.getresponse().status)
            except (OSError, http.client.HTTPException):
                statuses.append(0)
            connection.close()
        return statuses

    @unittest.skipIf("KX_SANITIZED" in os.environ, "sanitizers take memory of their own")
    def test_memory_is_bounded(self):
        before = self.get_memory("VmHWM")
        half = b"<" * (4 * 1024 * 1024)  # of a body that never becomes complete
        self.assertEqual(set(self.flood(100, half, 2 * len(half))) - {0}, {503})
        many = envelope("<Read><ItemList>" + '<Items ItemName="boiler/mode"/>' * 10_000 + "</ItemList></Read>")
        self.assertIn(200, self.flood(10, many, len(many)))
        self.assertLess(self.get_memory("VmHWM") - before, 300 * self.MIB)
        wait_for(lambda: self.gateway.get("/api/status")[0] == 200 and self.figure("message_bytes") < 10_000,
                 "all is given back")
        self.assertEqual(self.client.read("/boiler/mode")[0].quality, "good")

    def test_large_replies_are_refused(self):
        self.write("/maintenance/note", f"<Value>{'x' * 10_000}</Value>")
        items = '<Items ItemName="/maintenance/note"/>' * 10_000
        self.assertEqual(self.client.fail(f"<Read><ItemList>{items}</ItemList></Read>"), "da:E_OUTOFMEMORY")
        self.write("/maintenance/note", "<Value>short</Value>")

    def test_many_properties_are_refused(self):
        items = '<ItemIDs ItemName="/boiler/mode"/>' * 1000
        names = "<PropertyNames>x</PropertyNames>" * 1000
        self.assertEqual(self.client.fail(f"<GetProperties>{items}{names}</GetProperties>"), "da:E_OUTOFMEMORY")
        names = f"<PropertyNames>{'x' * 4000}</PropertyNames>" * 1900
        self.assertEqual(self.client.fail(f'<Browse ItemName="/boiler">{names}</Browse>'), "da:E_OUTOFMEMORY")

    def test_large_polls_are_refused(self):
        handle, _ = self.subscribe("/boiler/mode")
        poll = (f'<SubscriptionPolledRefresh WaitTime="600000"><ServerSubHandles>{handle}</ServerSubHandles>'
                f"<a>{'x' * 1_200_000}</a></SubscriptionPolledRefresh>")
        self.assertEqual(self.client.fail(poll), "da:E_OUTOFMEMORY")


class TlsTest(Site):
    """TLS to clients and to the server."""

    @classmethod
    def setUpClass(cls):
        cls.certificate = Certificate()
        cls.plant = Plant(cls.plant_program, options=cls.certificate.options)
        cls.server = f"https://127.0.0.1:{cls.plant.port}"
        cls.gateway = Gateway(cls.gateway_program, cls.server, "--ca", cls.certificate.file, "--client-patience", "2",
                              certificate=cls.certificate)
        cls.gateway.wait_until_connected()
        cls.client = Client(cls.gateway, cls.schema)

    def test_says_where_it_listens(self):
        self.assertIn(f"page: https://127.0.0.1:{self.gateway.port}/\n", self.gateway.read())
        location = f'location="https://127.0.0.1:{self.gateway.port}/"'
        self.assertIn(location, self.gateway.get("/?wsdl")[1].decode())

    def test_reads_and_writes(self):
        self.assertEqual(self.client.read("/boiler/temperature")[0].quality, "good")
        self.assertEqual(float(self.write("/boiler/temperature_setpoint", "<Value>187.5</Value>").text), 187.5)

    def test_large_requests_and_replies(self):
        items = "".join(f'<Items ItemName="/boiler/temperature" ClientItemHandle="{i}"/>' for i in range(5000))
        response = self.client.call(f"<Read><ItemList>{items}</ItemList></Read>")
        handles = [element.get("ClientItemHandle") for element in response.iter(f"{{{XMLDA}}}Items")]
        self.assertEqual(handles, [str(i) for i in range(5000)])

    def test_many_polls_on_one_connection(self):
        handle, _ = self.subscribe("/maintenance/note")
        connection = self.gateway.connect()
        for turn in range(3):
            body = envelope(f'<SubscriptionPolledRefresh WaitTime="60000"><ServerSubHandles>{handle}</ServerSubHandles>'
                            '</SubscriptionPolledRefresh>')
            connection.request("POST", "/", body, {"Content-Type": "text/xml"})
            wait_for(lambda: self.figure("clients") == 2, "the poll is held")
            self.write("/maintenance/note", f"<Value>turn {turn}</Value>")
            reply = connection.getresponse()
            self.assertEqual(reply.status, 200)
            self.assertIn(f"turn {turn}".encode(), reply.read())
        connection.close()

    def test_client_that_leaves_is_noticed(self):
        handle, _ = self.subscribe("/instruments/thermometer_1")
        body = envelope(f'<SubscriptionPolledRefresh WaitTime="600000"><ServerSubHandles>{handle}</ServerSubHandles>'
                        '</SubscriptionPolledRefresh>')
        connection = self.gateway.connect()
        connection.request("POST", "/", body, {"Content-Type": "text/xml"})
        wait_for(lambda: self.figure("clients") == 2, "the poll is held")
        connection.close()
        wait_for(lambda: self.figure("clients") == 1, "the client is gone")

    def test_requests_that_do_not_wait_for_replies(self):
        count = 1500
        with socket.create_connection(("127.0.0.1", self.gateway.port), timeout=120) as plain:
            with self.gateway.tls.wrap_socket(plain, server_hostname="127.0.0.1") as connection:
                connection.sendall(b"GET /api/browse?item=/ HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n" * count)
                received, replies = b"x", 0
                rest = b""
                while replies < count and received:
                    received = connection.recv(1 << 16)
                    text = rest + received
                    replies += text.count(b"HTTP/1.1 200 OK")
                    rest = text[-len(b"HTTP/1.1 200 OK") + 1:]
        self.assertEqual(replies, count)
        wait_for(lambda: self.figure("clients") == 1, "the client is gone")

    def test_clients_without_tls_are_disconnected(self):
        for text in (b"", b"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", b"\x16\x03\x01\x02\x00"):
            with socket.create_connection(("127.0.0.1", self.gateway.port), timeout=120) as connection:
                connection.sendall(text)
                while connection.recv(100):
                    pass

    def test_silent_clients_are_disconnected(self):
        for text in (b"", b"POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 10\r\n\r\nabc"):
            with socket.create_connection(("127.0.0.1", self.gateway.port), timeout=120) as plain:
                with self.gateway.tls.wrap_socket(plain, server_hostname="127.0.0.1") as connection:
                    connection.sendall(text)
                    self.assertEqual(connection.recv(100), b"")

    def check_distrust(self, gateway, failure):
        wait_for(lambda: failure in gateway.read(), failure)
        self.assertEqual(Client(gateway, self.schema).read("/boiler/mode")[0].quality, "badCommFailure")
        gateway.kill()

    def test_server_that_is_not_trusted(self):
        other = Certificate("DNS:elsewhere.example")
        plant = Plant(self.plant_program, options=other.options)
        for server, trust, failure in ((self.server, (), "its certificate is not accepted: self-signed certificate"),
                                       (self.server, ("--ca", other.file), "its certificate is not accepted"),
                                       (f"https://127.0.0.1:{plant.port}", ("--ca", other.file),
                                        "its certificate is not accepted: IP address mismatch"),
                                       (f"https://localhost:{plant.port}", ("--ca", other.file),
                                        "its certificate is not accepted: hostname mismatch")):
            self.check_distrust(Gateway(self.gateway_program, server, *trust), failure)
        gateway = Gateway(self.gateway_program, f"https://127.0.0.1:{plant.port}", "--insecure").wait_until_connected()
        self.assertEqual(Client(gateway, self.schema).read("/boiler/mode")[0].quality, "good")
        self.assertEqual(gateway.stop()[0], 0)

    def test_ends_while_clients_are_connected(self):
        gateway = Gateway(self.gateway_program, self.server, "--insecure", certificate=self.certificate)
        connections = [gateway.connect() for _ in range(3)]
        connections[0].connect()  # says nothing
        connections[1].request("GET", "/api/events")
        self.assertEqual(connections[1].getresponse().status, 200)
        connections[2].request("GET", "/api/status")
        connections[2].getresponse().read()
        self.assertEqual(gateway.stop()[0], 0)
        self.assertIn("stopped", gateway.read())
        for connection in connections:
            connection.close()


class ProgramTest(unittest.TestCase):
    gateway_program = ""

    def run_gateway(self, *arguments):
        return subprocess.run([self.gateway_program, *arguments], capture_output=True, text=True, timeout=120, check=False)

    def test_arguments(self):
        for arguments, text in (((), "the URL of the server is missing"), (("ftp://a",), "must begin with http:// or https://"),
                                (("http://a", "--insecure"), "--insecure are only for https:// servers, not for 'http://a'"),
                                (("https://a", "--ca", "/nothing"), "--ca: cannot read the file '/nothing'"),
                                (("https://a", "--ca", __file__), "cannot be used as certificates of authorities"),
                                (("https://a", "--ca", __file__, "--insecure"), "cannot be used together"),
                                (("http://a", "--certificate", __file__), "must be given together"),
                                (("http://a", "--certificate", __file__, "--private-key", __file__),
                                 "cannot be used as the certificate"),
                                (("http://a", "--port", "x"), "--port: 'x' is not a whole number from 0 to 65535"),
                                (("http://a", "--port", "70000"), "--port: '70000' is not a whole number"),
                                (("http://a", "--metrics", "a//b"), "'a//b' is not the path of a branch"),
                                (("http://a", "--nothing"), "--nothing"), (("http://a b",), "'http://a b'"),
                                (("http://a", "--max-request", "0"), "--max-request")):
            result = self.run_gateway(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn(text, result.stderr)
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)

    def test_help_and_version(self):
        self.assertIn("Usage:", self.run_gateway("--help").stdout)
        self.assertRegex(self.run_gateway("--version").stdout, r"^kx-gateway \d+\.\d+\.\d+\n$")

    def test_port_in_use(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            result = self.run_gateway("http://127.0.0.1:1", "--port", str(other.getsockname()[1]))
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot listen on 127.0.0.1 port", result.stderr)
        self.assertIn("is not an IP address", self.run_gateway("http://127.0.0.1:1", "--address", "here").stderr)

    def test_ends_while_polls_are_held(self):
        plant = Plant(Site.plant_program)
        gateway = Gateway(self.gateway_program, f"http://127.0.0.1:{plant.port}").wait_until_connected()
        client = Client(gateway, Site.schema)
        response = client.call('<Subscribe ReturnValuesOnReply="true"><ItemList><Items ItemName="/maintenance/note"/>'
                               "</ItemList></Subscribe>")
        poll = ('<SubscriptionPolledRefresh WaitTime="600000"><ServerSubHandles>'
                f'{response.get("ServerSubHandle")}</ServerSubHandles></SubscriptionPolledRefresh>')
        waiting = in_background(lambda: client.call(poll))
        wait_for(lambda: b"kx_gateway_clients 2" in gateway.get("/metrics")[1], "the poll is held")
        status, _ = gateway.stop()
        self.assertEqual(status, 0)
        self.assertEqual(waiting().tag, f"{{{XMLDA}}}SubscriptionPolledRefreshResponse")
        self.assertIn("stopped", gateway.read())
        plant.kill()


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    Site.plant_program, Site.gateway_program = sys.argv[1:3]
    ProgramTest.gateway_program = sys.argv[2]
    Site.schema = Schema(sys.argv[3])
    suite_arguments = sys.argv[:1] + sys.argv[4:]
    unittest.main(argv=suite_arguments, verbosity=2)
