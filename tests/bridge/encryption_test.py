"""Encryption with certificates that are renewed, and the broker's file of rights."""

import os
import re
import shutil
import subprocess
import unittest

from broker_support import SOURCE, BridgeTestCase, eventually

RIGHTS = SOURCE + "/examples/fleet/acl"


class Encryption(BridgeTestCase):
    def certificate(self, name, common, more=""):
        """Makes NAME.crt and NAME.key, signed by the authority."""
        path = self.folder + "/" + name
        subprocess.run(["openssl", "req", "-newkey", "rsa:2048", "-nodes", "-keyout", path + ".fresh",
                        "-subj", "/CN=" + common, "-out", path + ".csr"], check=True, stderr=subprocess.DEVNULL)
        with open(path + ".ext", "w") as file:
            file.write(more)
        subprocess.run(["openssl", "x509", "-req", "-in", path + ".csr", "-CA", self.folder + "/ca.crt",
                        "-CAkey", self.folder + "/ca.key", "-CAcreateserial", "-days", "2", "-extfile",
                        path + ".ext", "-out", path + ".crt"], check=True, stderr=subprocess.DEVNULL)
        os.chmod(path + ".fresh", 0o600)
        os.rename(path + ".fresh", path + ".key")

    def setUp(self):
        super().setUp()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Test",
                        "-keyout", self.folder + "/ca.key", "-out", self.folder + "/ca.crt"],
                       check=True, stderr=subprocess.DEVNULL)
        self.certificate("broker", "localhost", "subjectAltName=DNS:localhost,IP:127.0.0.1")
        self.certificate("P1", "P1"), self.certificate("fleet", "fleet")
        self.files = ["--ca", "ca.crt", "--cert", "P1.crt", "--key", "P1.key"]
        shutil.copy(RIGHTS, self.folder + "/acl")
        os.chmod(self.folder + "/acl", 0o600)
        self.server = self.broker(
            "cafile {0}/ca.crt\ncertfile {0}/broker.crt\nkeyfile {0}/broker.key\nrequire_certificate true\n"
            "use_identity_as_username true\nacl_file {0}/acl\n".format(self.folder))
        self.server.scheme = "mqtts"

    def encrypted(self, hub, serial="P1"):
        files = [os.path.join(self.folder, one) if "." in one else one for one in self.files]
        return self.bridge(self.server, hub, *files, "--all-groups", serial=serial)

    def watch(self):
        return self.reader(self.server.port, "vantry/#", ["--cafile", self.folder + "/ca.crt", "-h", "localhost",
                           "--cert", self.folder + "/fleet.crt", "--key", self.folder + "/fleet.key"])

    def test_a_renewed_certificate_is_used_without_a_restart(self):
        reader, hub = self.watch(), self.hub()
        bridge = self.encrypted(hub)
        eventually(lambda: reader.documents("/state"))
        self.certificate("P1", "P1")
        eventually(lambda: "certificates have changed" in bridge.said())
        eventually(lambda: bridge.said().count("connected to the broker") == 2)
        self.assertNotIn("lost", bridge.said())

    def test_a_printer_may_not_speak_for_another_one(self):
        reader, hub = self.watch(), self.hub()
        bridge = self.encrypted(hub, serial="P2")
        eventually(lambda: re.search("refuses a message: Not authorized", bridge.said()))
        self.assertEqual(reader.messages, [])

    def test_a_broker_of_another_authority_gets_nothing(self):
        self.certificate("P1", "P1")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Other",
                        "-keyout", self.folder + "/other.key", "-out", self.folder + "/other.crt"],
                       check=True, stderr=subprocess.DEVNULL)
        reader, hub = self.watch(), self.hub()
        self.files[1] = "other.crt"
        bridge = self.encrypted(hub)
        eventually(lambda: "can't reach the broker" in bridge.said())
        self.assertEqual(reader.messages, [])


if __name__ == "__main__":
    unittest.main()
