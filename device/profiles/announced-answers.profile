# A card of the byte protocol that gives nothing away unasked: every answer waits behind 61xx for GET RESPONSE, which
# has to ask for exactly as much as there is, or gets 6Cxx.
#
# For servers and tools that follow the protocol themselves. The service's own follow-up does not, so that its jobs get
# no data from this card.
[card]
protocol=T=0
atr=3B084E41564F43415244
announce-answers=true
short-length=told
