#!/usr/bin/python3
"""The cloud contract in docs/schema: every golden document passes, and each
kind of fault the cloud would file wrongly is caught."""
import copy
import json
import os
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tools"))
import dc_schema  # noqa: E402

SCHEMAS = dc_schema.Schemas()


def golden(item):
    return dc_schema.load_json(os.path.join(ROOT, "docs", "golden", item + ".json"))


def rename(obj, old, new):
    return {new if k == old else k: v for k, v in obj.items()}


def swap(obj, a, b):
    keys = list(obj)
    i, j = keys.index(a), keys.index(b)
    keys[i], keys[j] = keys[j], keys[i]
    return {k: obj[k] for k in keys}


# (item, what is broken, change to the golden document)
FAULTS = [
    ("eventtype4", "misspelled member", lambda d: d["routerHardware"].update(
        {"deviceInfo": rename(d["routerHardware"]["deviceInfo"], "serialNumber", "serialnumber")})),
    ("eventtype4", "member dropped", lambda d: d["routerHardware"].pop("stage")),
    ("eventtype4", "member added", lambda d: d["routerHardware"].update({"extra": 1})),
    ("eventtype4", "stage outside its values", lambda d: d["routerHardware"].update({"stage": "QA"})),
    ("eventtype4", "model name over 31 characters", lambda d: d["routerHardware"].update({"modelName": "Z" * 32})),
    ("eventtype4", "MAC address with colons", lambda d: d["routerHardware"]["deviceInfo"].update(
        {"macAddress": "A4:2B:8C:5E:71:D1"})),
    ("cpu", "event type of another item", lambda d: d["routerHardware"].update({"eventType": 1})),
    ("cpu", "event type as text", lambda d: d["routerHardware"].update({"eventType": "2"})),
    ("routerInfo", "string flag as a boolean", lambda d: d["routerInfo"].update({"TarnelIdAcquired": True})),
    ("routerInfo", "unknown region", lambda d: d["routerInfo"].update({"wifiRegion": "Atlantis"})),
    ("routerConfig", "boolean text as a boolean", lambda d: d["routerConfig"].update({"11axEnable": True})),
    ("firmware", "unknown check result", lambda d: d["firmwareUpgradeAnalytics"].update({"fwCheckResult": "ok"})),
    ("eventtype5", "corrected spelling of a reason", lambda d: d["InternetDisconnEvent"].update(
        {"InternetDisconnReason": "DNS cannot resolve"})),
    ("wifiConnectEvent", "fixed member not NA", lambda d: d["wifiConnectEvent"]["event"][0].update({"steerType": ""})),
    ("connectedDevice", "classic device with the recognition spelling", lambda d: d["connectedDeviceDetails"][
        "connDevices"].__setitem__(0, rename(d["connectedDeviceDetails"]["connDevices"][0], "linkSpeed", "linkspeed"))),
    ("all", "an item object missing", lambda d: d.pop("SatelliteInfo")),
    ("connectedDevice", "counts in another order", lambda d: d["connectedDevice"].reverse()),
    ("memory", "a number not finite (null)", lambda d: d["memoryUsage"]["memoryInfo"].update({"memoryTotal": None})),
]

# (item, what is reordered, change) -- JSON Schema cannot see these; x-order does.
REORDERED = [
    ("eventtype4", "header members", lambda d: d.update(
        {"routerHardware": swap(d["routerHardware"], "modelName", "hwRevision")})),
    ("eventtype2", "item objects", lambda d: swap(d, "cpuUtilizations", "memoryUsage")),
    ("routerInfo", "nested members", lambda d: d["routerInfo"].update(
        {"firmware": swap(d["routerInfo"]["firmware"], "fwVersion", "fwLastUpdate")})),
    ("all", "satellite members", lambda d: d["SatelliteInfo"]["Satellite"].__setitem__(
        0, swap(d["SatelliteInfo"]["Satellite"][0], "upTime", "memoryInfo"))),
    ("connectedDevice", "a count's members", lambda d: d["connectedDevice"].__setitem__(
        1, swap(d["connectedDevice"][1], "countTotal", "wirelessType"))),
    ("connectedDevice", "a device's members", lambda d: d["connectedDeviceDetails"]["connDevices"].__setitem__(
        0, swap(d["connectedDeviceDetails"]["connDevices"][0], "ipAddress", "macAddress"))),
]


def broken(item, change):
    doc = copy.deepcopy(golden(item))
    out = change(doc)
    return out if isinstance(out, dict) and "routerHardware" in out else doc


class Schemas(unittest.TestCase):
    def test_golden_documents_pass(self):
        for item in dc_schema.ITEMS + ["cloud"]:
            with self.subTest(item=item):
                self.assertEqual(SCHEMAS.problems(item, golden(item)), [])

    def test_faults_are_caught(self):
        for item, what, change in FAULTS + REORDERED:
            with self.subTest(item=item, fault=what):
                self.assertNotEqual(SCHEMAS.problems(item, broken(item, change)), [])

    def test_order_faults_are_reported_as_order(self):
        for item, what, change in REORDERED:
            with self.subTest(item=item, fault=what):
                problems = SCHEMAS.problems(item, broken(item, change))
                self.assertTrue(problems and all("out of order" in p for p in problems), problems)

    def test_zt410_all_without_usb_items_passes(self):
        doc = golden("all")
        del doc["vumba"], doc["mediaDevice"]
        self.assertEqual(SCHEMAS.problems("all", doc), [])

    def test_unknown_word_is_a_forwarded_document(self):
        doc = {"routerHardware": {"productFamily": "router", "eventType": 9,
                                  "timeStamp": {"date": [2024, 3, 4], "time": [5, 6, 7]}},
               "speedTest": {"downloadMbps": 912.5}}
        self.assertEqual(SCHEMAS.schema_name("circleV2"), "cloud.schema.json")
        self.assertEqual(SCHEMAS.problems("circleV2", doc), [])
        self.assertNotEqual(SCHEMAS.problems("circleV2", {"speedTest": {}}), [])


if __name__ == "__main__":
    unittest.main()
