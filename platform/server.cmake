# Everything else that a plain server needs: users, shares, volumes, processes, mail, texts, event log.
