"""A mail server that records messages: prints its port, then one line of JSON a message, until its input ends."""

import json
import sys

from aiosmtpd.controller import Controller


class Sink:
    async def handle_DATA(self, server, session, envelope):
        print(json.dumps({"from": envelope.mail_from, "to": envelope.rcpt_tos,
                          "message": envelope.original_content.decode("ascii")}), flush=True)
        return "250 kept"


class AnyPort(Controller):
    def _trigger_server(self):
        # The controller tries its own port, which is known only now.
        self.port = self.server.sockets[0].getsockname()[1]
        super()._trigger_server()


controller = AnyPort(Sink(), hostname="127.0.0.1", port=0)
controller.start()
print(controller.port, flush=True)
sys.stdin.read()
controller.stop()
