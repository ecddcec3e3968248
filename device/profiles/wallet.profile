# The plain card, whose wallet answers once it is installed and personalized: the one that script/demo provisions, and
# what a payment terminal or a wallet's application would ask it.
[card]

[application A00000084100010101]
# The label comes with the personalization; before it, the card's plain answer stands here.
select=6F( 84( aid ) value:9102 )

# GET DATA: the number of transactions so far, and what the holder's name is.
answer 80CA9F36=9F36( counter:transactions )
answer 80CA5F20=object:0102/5F20, status:6A88

# READ RECORD, the first two of file 1; there is no third.
answer 00B2010C=70( value:0101 ), status:6985
answer 00B2020C=70( value:0102 ), status:6985
answer 00B2xx0C=status:6A83

# GET PROCESSING OPTIONS counts a transaction; with data other than an empty command template, it is refused.
answer 80A80000 8300=77( 82( 0000 ) 94( 08010200 ) 9F36( next:transactions ) )
answer 80A80000=status:6A80
