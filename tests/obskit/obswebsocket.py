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

    def __init__(self, port, timeout_s=TIMEOUT_S):
        self._socket = websocket.create_connection(f"ws://127.0.0.1:{port}", timeout=timeout_s)
        self._socket.recv()
        self._send(1, {"rpcVersion": 1, "eventSubscriptions": 0})
        self._socket.recv()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._socket.close()

    def _send(self, operation, data):
        self._socket.send(json.dumps({"op": operation, "d": data}))

    def _receive(self):
        return json.loads(self._socket.recv())["d"]

    def __call__(self, request, **data):
        self._send(6, {"requestType": request, "requestId": "1", "requestData": data})
        response = self._receive()
        if not response["requestStatus"]["result"]:
            raise RequestFailed(response)
        return response.get("responseData")

    def execute_batch(self, requests):
        """Requests that one thread of OBS executes in their order; their number."""
        self._send(8, {"requestId": "1", "haltOnFailure": True, "requests": requests})
        results = self._receive()["results"]
        for result in results:
            if not result["requestStatus"]["result"]:
                raise RequestFailed(result)
        return len(results)

    def items(self, scene):
        """The items of a scene by name, each with its id, top-most last."""
        return {item["sourceName"]: item for item in self("GetSceneItemList", sceneName=scene)["sceneItems"]}


def connect_to_obs(obs):
    """A client of the obs-websocket of an ObsProcess, once OBS has loaded."""
    def connect():
        with contextlib.suppress(OSError):
            client = ObsWebSocketClient(obs.obs_websocket_port)
            try:
                client("GetSceneList")  # refused while OBS is loading
                return client
            except RequestFailed:
                client.close()
        return None
    return wait_for(connect, 60, "a response of obs-websocket")
