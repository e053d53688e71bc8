# SPDX-License-Identifier: GPL-2.0-or-later
"""A client of obs-websocket: makes changes on threads other than the user interface's, and confirms them."""

import contextlib
import json

import websocket

from obskit.obsprocess import wait_for

TIMEOUT_S = 20


class RequestFailed(Exception):
    """obs-websocket refused a request, for example because OBS is still loading."""


class ObsWebSocketClient:
    """One connection; a call is a request, its result the response data."""

    def __init__(self, port):
        self._socket = websocket.create_connection(f"ws://127.0.0.1:{port}", timeout=TIMEOUT_S)
        self._socket.recv()
        self._exchange(1, rpcVersion=1, eventSubscriptions=0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._socket.close()

    def _exchange(self, operation, **data):
        self._socket.send(json.dumps({"op": operation, "d": data}))
        return json.loads(self._socket.recv())["d"]

    def __call__(self, request, **data):
        return self.execute_batch([{"requestType": request, "requestData": data}])[0].get("responseData")

    def execute_batch(self, requests):
        """Requests that one thread of OBS executes in their order; their results."""
        results = self._exchange(8, requestId="1", haltOnFailure=True, requests=requests)["results"]
        if not results[-1]["requestStatus"]["result"]:  # the first failure is the last result
            raise RequestFailed(results[-1])
        return results

    def items(self, scene):
        """The items of a scene by name, each with its id, top-most last."""
        return {item["sourceName"]: item for item in self("GetSceneItemList", sceneName=scene)["sceneItems"]}


def connect_to_obs(obs):
    """A client of the obs-websocket of an ObsProcess, once OBS has loaded."""
    def connect():
        with contextlib.suppress(OSError, RequestFailed):
            client = ObsWebSocketClient(obs.obs_websocket_port)
            client("GetSceneList")  # refused while OBS is loading
            return client
    return wait_for(connect, 60, "a response of obs-websocket")
