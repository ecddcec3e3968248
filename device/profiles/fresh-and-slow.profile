# A card as it leaves its maker: not secured yet, with initial keys that go with the first others, and in no hurry. It
# tells two entries of a list at a time, cuts an answer to the length that was expected, and says 6A88 for whatever
# it does not have.
#
# For servers that take a card's state, the version of its keys, the whole of a list in one answer, or 6A82 for granted.
[card]
life-cycle=op-ready
key-version=255
listed-at-once=2
short-length=cut
absent=6A88
answer-time=20
