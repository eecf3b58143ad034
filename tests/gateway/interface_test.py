#!/usr/bin/env python3
"""Holds the document of the interface against what runs."""

import itertools
import os
import unittest
from urllib.parse import quote

from gateway_support import GatewayTestCase

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "null": type(None),
         "integer": int, "number": (int, float)}


class Interface(GatewayTestCase):
    def faults(self, value, schema, place="body"):
        """What of a value doesn't fit its schema. Members that no schema names are faults too."""
        while "$ref" in schema:
            schema = self.document["components"]["schemas"][schema["$ref"].rpartition("/")[2]]
        names = schema.get("type", [])
        names = [names] if isinstance(names, str) else names
        if names and not any(isinstance(value, TYPES[name]) for name in names):
            return ["%s is no %s" % (place, names)]
        if "enum" in schema and value not in schema["enum"]:
            return ["%s is %r" % (place, value)]
        if isinstance(value, list):
            return list(itertools.chain(*(self.faults(one, schema["items"], place + "[]") for one in value)))
        if isinstance(value, dict) and "properties" in schema:
            known = schema["properties"]
            found = ["%s has no %s" % (place, name) for name in set(schema["required"]) - set(value)]
            found += ["%s has %s" % (place, name) for name in set(value) - set(known)]
            return found + list(itertools.chain(*(self.faults(one, known[name], place + "." + name)
                                                  for name, one in value.items() if name in known)))
        return []

    def check(self, gateway, path, method, target, body=None, **headers):
        operation = self.document["paths"][path][method.lower()]
        status, answer, given = gateway.ask(target, method, body, **headers)
        self.assertIn(str(status), operation["responses"], (method, target))
        content = operation["responses"][str(status)]["content"]
        kind = given["Content-Type"].partition(";")[0]
        self.assertIn(kind, content, (method, target))
        if kind == "application/json":
            self.assertEqual(self.faults(answer, content[kind]["schema"]), [], (method, target))
        return status

    def test_every_address_answers_as_the_document_says(self):
        token = self.hub.folder.name + "/tokens"
        with open(token, "w") as file:
            file.write("a-token-of-the-test\n")
        os.chmod(token, 0o600)
        gateway = self.gateway("--allow-write", "*", "--token-file", token)
        self.document = gateway.ask("/api/openapi.json")[1]
        bearer = {"Authorization": "Bearer a-token-of-the-test"}
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)
        one = self.eventually(lambda: gateway.ask("/api/properties?name=*in+ms", **bearer)[1]["properties"])[0]
        named = {name: quote(one[name], safe="") for name in ("component", "group", "guid")}
        query = "&".join("%s=%s" % pair for pair in named.items())
        checked = set()
        for path, operations in self.document["paths"].items():
            target = path.format(**named)
            for method in {"get", "put"} & set(operations):
                operation = operations[method]
                if path != "/api/changes":  # It has no end; another test reads it.
                    needed = "?" + query if path == "/api/history" else ""
                    value = '{"value":"500"}' if method == "put" else None
                    status = self.check(gateway, path, method.upper(), target + needed, value,
                                        Content_Type="application/json", **bearer)
                    self.assertIn(status, (200, 404 if path == "/api/history" else 200), path)
                for headers, wanted in (({}, 200 if operation.get("security") == [] else 401),
                                        (dict(bearer, Host="elsewhere"), 421),
                                        (dict(bearer, Origin="http://elsewhere"), 403)):
                    if path != "/api/changes" or wanted != 200:
                        self.assertEqual(self.check(gateway, path, method.upper(), target, **headers), wanted)
                checked.add((path, method))
            for method in {"GET", "PUT", "POST", "DELETE", "OPTIONS", "PATCH"} - {
                    name.upper() for name in operations}:
                status, _, given = gateway.ask(target, method, **bearer)
                self.assertEqual((status, set(given["Allow"].split(", "))),
                                 (405, {name.upper() for name in operations} & {"GET", "PUT"}), (method, path))
        self.assertEqual(len(checked), 8)
        self.assertEqual(self.check(gateway, "/api/changes", "GET", "/api/changes?available=true", **bearer), 400)


if __name__ == "__main__":
    unittest.main()
