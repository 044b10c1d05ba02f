#!/usr/bin/python3
"""Drives a gateway with zeep, strictly, from the gateway's own description: zeep_test.py PLANT GATEWAY"""

import sys

SKIPPED = 77

try:
    import zeep
    from zeep import xsd
except ImportError as error:
    print(f"skipped: {error} (Debian package python3-zeep)")
    sys.exit(SKIPPED)

import unittest

from gateway_site import XMLDA, Gateway
from programs import Plant


class ZeepTest(unittest.TestCase):
    plant_program = ""
    gateway_program = ""

    @classmethod
    def setUpClass(cls):
        cls.plant = Plant(cls.plant_program)
        cls.gateway = Gateway(cls.gateway_program, f"http://127.0.0.1:{cls.plant.port}").wait_until_connected()
        cls.client = zeep.Client(f"http://127.0.0.1:{cls.gateway.port}/?wsdl",
                                 settings=zeep.Settings(strict=True, xml_huge_tree=False))
        cls.service = cls.client.service

    @classmethod
    def tearDownClass(cls):
        cls.gateway.kill()
        cls.plant.kill()

    def make(self, name, *arguments, **named):
        return self.client.get_type(f"{{{XMLDA}}}{name}")(*arguments, **named)

    def read(self, *names):
        reply = self.service.Read(Options={"ReturnItemTime": True, "ReturnErrorText": True},
                                  ItemList={"Items": [{"ItemName": name, "ClientItemHandle": name} for name in names]})
        self.assertEqual(reply.ReadResult.ServerState, "running")
        self.assertEqual([item.ClientItemHandle for item in reply.RItemList.Items], list(names))
        return reply.RItemList.Items

    def write(self, name, value):
        reply = self.service.Write(ReturnValuesOnReply=True, ItemList={"Items": [{"ItemName": name, "Value": value}]})
        return reply.RItemList.Items[0]

    def test_status(self):
        reply = self.service.GetStatus(ClientRequestHandle="1")
        self.assertEqual(reply.GetStatusResult.ClientRequestHandle, "1")
        self.assertEqual(list(reply.Status.SupportedInterfaceVersions), ["XML_DA_Version_1_0"])

    def test_browse_and_properties(self):
        reply = self.service.Browse(ItemName="/boiler", ReturnAllProperties=True, ReturnPropertyValues=True)
        found = {element.Name: element for element in reply.Elements}
        self.assertTrue(found["mode"].IsItem)
        values = {entry.Name.localname if hasattr(entry.Name, "localname") else str(entry.Name).split(":")[-1]: entry.Value
                  for entry in found["temperature"].Properties}
        self.assertEqual(values["quality"].QualityField, "good")
        self.assertEqual(values["engineeringUnits"], "degC")
        lists = self.service.GetProperties(ItemIDs=[{"ItemName": "/boiler/mode"}, {"ItemName": "/none"}],
                                           ReturnAllProperties=True, ReturnPropertyValues=True).PropertyLists
        self.assertEqual([entry.ResultID is None for entry in lists], [True, False])

    def test_read(self):
        burner, temperature, steps, sensor, missing = self.read(
            "/boiler/burner_on", "/boiler/temperature", "/feed_water/trim_steps", "/instruments/thermometer_3/reading",
            "/none")
        self.assertIsInstance(burner.Value, bool)
        self.assertIsInstance(temperature.Value, float)
        self.assertEqual(list(steps.Value.byte), [-20, -10, 0, 10, 20])
        self.assertEqual(sensor.Quality.QualityField, "badSensorFailure")
        self.assertTrue(str(missing.ResultID).endswith("E_UNKNOWNITEMNAME"))

    def test_write(self):
        written = self.write("/boiler/temperature_setpoint", xsd.AnyObject(xsd.Double(), 183.5))
        self.assertEqual(written.Value, 183.5)
        refused = self.write("/boiler/temperature", xsd.AnyObject(xsd.Double(), 183.5))
        self.assertTrue(str(refused.ResultID).endswith("E_READONLY"))
        written = self.write("/alarms/horn", xsd.AnyObject(xsd.Boolean(), False))
        self.assertIs(written.Value, False)
        steps = self.client.get_type(f"{{{XMLDA}}}ArrayOfByte")
        written = self.write("/feed_water/trim_steps", xsd.AnyObject(steps, steps(byte=[-20, -10, 0, 10, 20])))
        self.assertEqual((written.ResultID, list(written.Value.byte)), (None, [-20, -10, 0, 10, 20]))

    def test_subscription(self):
        reply = self.service.Subscribe(ReturnValuesOnReply=True, SubscriptionPingRate=60000,
                                       ItemList={"Items": [{"ItemName": "/boiler/temperature_setpoint"}]})
        handle = reply.ServerSubHandle
        self.assertIsInstance(reply.RItemList.Items[0].ItemValue.Value, float)
        self.write("/boiler/temperature_setpoint", xsd.AnyObject(xsd.Double(), 184.25))
        reply = self.service.SubscriptionPolledRefresh(ServerSubHandles=[handle, "unknown"], WaitTime=60000)
        self.assertEqual(list(reply.InvalidServerSubHandles), ["unknown"])
        self.assertEqual(reply.RItemList[0].SubscriptionHandle, handle)
        self.assertEqual(reply.RItemList[0].Items[0].Value, 184.25)
        self.service.SubscriptionCancel(ServerSubHandle=handle)
        with self.assertRaises(zeep.exceptions.Fault) as caught:
            self.service.SubscriptionCancel(ServerSubHandle=handle)
        self.assertEqual(caught.exception.code, "da:E_NOSUBSCRIPTION")
        self.assertTrue(caught.exception.message)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    ZeepTest.plant_program = sys.argv[1]
    ZeepTest.gateway_program = sys.argv[2]
    unittest.main(argv=sys.argv[:1], verbosity=2)
