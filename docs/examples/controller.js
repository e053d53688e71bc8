// SPDX-License-Identifier: GPL-2.0-or-later
// Prints the program scene, then hides one of its items or shows it again: node controller.js [ITEM [PORT]]
"use strict";

const net = require("node:net");

const [item, port = 2021] = process.argv.slice(2);
const connection = net.connect(port, "127.0.0.1");
const state = {}; // the latest value of each property
let received = Buffer.alloc(0);

function send(entries, isLong = false) {
    const body = Buffer.from(JSON.stringify({ values: entries }));
    const digits = String(body.length).padStart(isLong ? 8 : 4, "0");
    connection.write(Buffer.concat([Buffer.from((isLong ? "####" : "") + digits), body]));
}

// Cuts the next message off what has been received; undefined while it is not complete.
function takeMessage() {
    const isLong = received.toString("latin1", 0, 4) === "####";
    const [start, end] = isLong ? [4, 12] : [0, 4];
    const next = end + Number(received.toString("latin1", start, end));
    if (received.length < end || received.length < next) {
        return undefined;
    }
    const message = JSON.parse(received.toString("utf8", end, next));
    received = received.subarray(next);
    return message;
}

let step = showState;

connection.on("connect", () => {
    // A long frame agrees on long frames; the answer is one if the list is long.
    send([{ type: "get", name: "sceneList" }], true);
    setInterval(() => send([]), 2000);
});
connection.on("data", (bytes) => {
    received = Buffer.concat([received, bytes]);
    for (let message = takeMessage(); message; message = takeMessage()) {
        for (const { name, value } of message.values) {
            if (name !== undefined) { // an empty entry: a value too long for a frame
                state[name] = value;
            }
        }
        step();
    }
});
connection.on("error", (error) => console.error(error.message));
connection.on("close", () => process.exit(1)); // the log of OBS says why

function showState() {
    if (!state.sceneList || state.transitionDuration === undefined) { // the last of the full state
        return;
    }
    const scene = state.sceneList.find((scene) => scene.name === state.currentScene);
    if (!scene) { // OBS has none for a moment when it changes the scene collection
        return;
    }
    console.log("on air:", scene.name);
    for (const { name, isVisible } of scene.sourceList) {
        console.log(`  ${name}${isVisible ? "" : " (hidden)"}`);
    }
    if (!item) {
        process.exit(0);
    }
    const found = scene.sourceList.find(({ name }) => name === item);
    if (!found) {
        console.error(`no item "${item}" in the program scene`);
        process.exit(1);
    }
    const bit = 1 << found.sortIndex;
    // The mask is not pushed with another scene: make it from the list.
    const mask = scene.sourceList.reduce((bits, { sortIndex, isVisible }) =>
        isVisible ? bits | 1 << sortIndex : bits & ~(1 << sortIndex), 0);
    const wanted = mask ^ bit;
    delete state.sourceVisibles;
    send([{ type: "set", name: "sourceVisibles", value: wanted }]);
    step = () => { // a set has no answer: every controller receives the change
        if (Number.isInteger(state.sourceVisibles) && ((state.sourceVisibles ^ wanted) & bit) === 0) {
            console.log(item, wanted & bit ? "is visible" : "is hidden");
            process.exit(0);
        }
    };
}
