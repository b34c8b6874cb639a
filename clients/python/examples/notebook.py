# A notebook as a script: every "# %%" begins a cell in the editors that know this form; `jupytext` makes an
# .ipynb of it. It needs pandas.

# %% Connect once; the client lives on its own thread while cells come and go.
from halvane import Client, symbols_of

h = Client.connect("DEMO", "demo-key", account="PAPER-1000001")

# %% What can be traded
for symbol in symbols_of(h.instruments("PaperStk")):
    info = h.instrument(symbol)
    print(symbol, info["Bid"], info["Ask"])

# %% Some trades
for symbol in ("OV.S.PAPX.ALFA", "OV.S.PAPX.CERU"):
    h.buy(symbol, 20).wait("filled", timeout=10)

# %% Positions, fills and funds as frames
print(h.positions_df()[["symbol", "sum_long_qty", "avg_price", "unrealized_pl"]])
fills = h.fills_df()
print(fills.groupby("symbol")["matched_qty"].sum())
print(h.margins_df()[["account", "total_equity", "excess_equity"]])

# %% At the end
h.close()
