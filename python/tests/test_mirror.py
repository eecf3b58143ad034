"""The order of values: what is delivered, and what is read again, message by message."""

import unittest

from vantry import Property, PropertyId
from vantry.mirror import Mirror
from vantry.recovery import recover

A, B = PropertyId("C", "G", "A"), PropertyId("C", "G", "B")


def prop(one, value, available=True):
    return Property(one, "c", "g", one.member, value, available)


def told(outcome):
    """What an outcome delivers and what it wants read again, in short."""
    changes, again = outcome
    return ["%s %s=%s%s" % (one.kind.value, one.property.id.member, one.property.value,
                            " missed" if one.missed else "") for one in changes], again


class Order(unittest.TestCase):
    def setUp(self):
        self.mirror = Mirror(lambda one: True)
        self.mirror.ask()
        self.mirror.answer([prop(A, "1"), prop(B, "1")], None)

    def test_the_first_publication_behind_an_answer_is_checked_and_the_next_is_not(self):
        old = self.mirror.publication([prop(A, "0"), prop(B, "1")])
        self.assertEqual(told(old), ([], {A}))
        self.mirror.ask()
        self.assertEqual(told(self.mirror.answer([prop(A, "1")], {A}, at_once=True)), ([], set()))
        new = self.mirror.publication([prop(A, "2"), prop(B, "2")])
        self.assertEqual(told(new), (["changed A=2", "changed B=2"], set()))

    def test_an_answer_that_a_publication_overtook_is_read_again(self):
        self.mirror.publication([])
        self.mirror.ask()
        self.mirror.publication([prop(A, "3")])
        outcome = self.mirror.answer([prop(A, "2"), prop(B, "2")], None, missed=True)
        self.assertEqual(told(outcome), (["changed B=2 missed"], {A}))

    def test_what_was_published_and_read_again_was_not_missed(self):
        _, again = self.mirror.publication([prop(A, "2")])
        self.mirror.ask()
        outcome = self.mirror.answer([prop(A, "2"), prop(B, "2")], None, missed=True,
                                     told=frozenset(again))
        self.assertEqual(told(outcome), (["changed A=2", "changed B=2 missed"], set()))

    def test_a_withdrawal_beside_a_change_is_checked(self):
        self.mirror.publication([])
        outcome = self.mirror.publication([prop(A, "2"), prop(A, "1", False), prop(B, "1", False)])
        self.assertEqual(told(outcome), (["gone B=1"], {A}))

    def test_what_a_later_answer_lacks_is_gone(self):
        self.mirror.ask()
        outcome = self.mirror.answer([prop(A, "1")], None, missed=True)
        self.assertEqual(told(outcome), (["gone B=1 missed"], set()))


class Recovery(unittest.TestCase):
    def test_sections_are_told_apart_and_spoiled_records_are_read(self):
        record = ('{"Component": "C","ComponentString": "c","GUID": "G:A","GroupString": "g",'
                  '"NameString": "%s","Status": "Successful","Value": "%s"}')
        bad = record % ('a "b" \\q', "\\u0001\\\\")
        good = record % ("n", '"PropertySetRequests": [')
        for head in ("", '"GetAllPropertiesResponse": true,'):
            found = recover('{%s"PropertyGetResponses": [%s,%s]}' % (head, bad, good))
            self.assertEqual([(one["NameString"], one["Value"])
                              for one in found["PropertyGetResponses"]],
                             [('a "b" \\q', "\x01\\"), ("n", '"PropertySetRequests": [')])
            self.assertEqual("GetAllPropertiesResponse" in found, bool(head))
        found = recover('{"PropertySetRequests": [{"Component": "C","GUID": "G:A","Value": ""}"}]}')
        self.assertEqual(found, {"PropertySetRequests":
                                 [{"Component": "C", "GUID": "G:A", "Value": '"}'}]})
        for nothing in ("", "{", '{"PropertyGetResponses": [', "x" * 100):
            self.assertFalse(any(recover(nothing).values()))
