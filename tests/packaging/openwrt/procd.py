#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Stands in for OpenWrt's procd: services with instances, and triggers.

usage: procd serve                       until it is killed; tells the system log in /run/syslog
       procd set NAME SCRIPT <MESSAGE    what rc.common says of a service
       procd delete NAME | status NAME
       procd event PACKAGE               config.change of that package
"""

import asyncio
import hashlib
import json
import os
import signal
import socket
import sys
from pathlib import Path

SOCKET = "/run/procd.sock"
SYSLOG = Path("/run/syslog")
TRIGGER_DELAY = 1.0
PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


def log(text):
    with SYSLOG.open("a") as file:
        file.write(text + "\n")


def digest(file):
    try:
        return hashlib.md5(Path(file).read_bytes()).hexdigest()
    except OSError:
        return None


class Instance:
    """One process: restarted when it ends, and ended on request."""

    def __init__(self, service, params):
        self.name = f"{service}::instance"
        self.params = params
        self.process = None
        self.stopping = asyncio.Event()
        self.task = asyncio.create_task(self.live())

    async def live(self):
        while not self.stopping.is_set():
            await self.run()
            respawn = self.params.get("respawn")
            if respawn is None or self.stopping.is_set():
                return
            await self.pause(float(respawn[1]) if len(respawn) > 1 else 5)

    async def pause(self, seconds):
        try:
            await asyncio.wait_for(self.stopping.wait(), seconds)
        except asyncio.TimeoutError:
            pass

    async def run(self):
        command = self.params["command"]
        to_log = self.params.get("stderr") == ["1"]
        self.process = await asyncio.create_subprocess_exec(
            *command, cwd="/", env={"PATH": PATH}, preexec_fn=self.prepare,
            stdin=asyncio.subprocess.DEVNULL, stdout=asyncio.subprocess.DEVNULL,
            stderr=asyncio.subprocess.PIPE if to_log else asyncio.subprocess.DEVNULL)
        if to_log:
            asyncio.create_task(self.copy_messages(self.process))
        end = asyncio.create_task(self.process.wait())
        stop = asyncio.create_task(self.stopping.wait())
        await asyncio.wait({end, stop}, return_when=asyncio.FIRST_COMPLETED)
        if not end.done():
            await self.terminate(end)
        stop.cancel()
        self.process = None

    async def terminate(self, end):
        """Ends only the process, not its group or its children."""
        self.process.send_signal(signal.SIGTERM)
        limit = float(self.params.get("term_timeout", ["5"])[0])
        done, _ = await asyncio.wait({end}, timeout=limit)
        if not done:
            log(f"procd: Instance {self.name} not stopped on SIGTERM, sending SIGKILL instead")
            self.process.kill()
            await end

    async def copy_messages(self, process):
        """Log as daemon.err, under the last part of the command's path."""
        name = os.path.basename(self.params["command"][0])
        while line := await process.stderr.readline():
            log(f"daemon.err {name}[{process.pid}]: {line.decode(errors='replace').rstrip()}")

    def prepare(self):
        os.umask(0o022)
        try:
            os.setpriority(os.PRIO_PROCESS, 0, int(self.params.get("nice", ["0"])[0]))
        except PermissionError:
            pass


class Service:
    def __init__(self, script):
        self.script = script
        self.instances = {}
        self.triggers = []


class Procd:
    def __init__(self):
        self.services = {}
        self.ending = {}  # for each name the instances that must end before new ones start
        self.calls = asyncio.Queue()

    def set(self, name, script, wanted, triggers):
        """Stop or restart only instances whose description has changed."""
        service = self.services.setdefault(name, Service(script))
        service.triggers = triggers
        for params in wanted.values():
            params["digests"] = [digest(file) for file in params.get("file", [])]
        for key in list(service.instances):
            old = service.instances[key]
            if key not in wanted or old.params != wanted[key]:
                self.stop_instance(name, key, service.instances.pop(key))
        for key, params in wanted.items():
            if key not in service.instances:
                asyncio.create_task(self.start_instance(name, key, params))

    def stop_instance(self, name, key, instance):
        instance.stopping.set()
        self.ending[name, key] = instance.task

    async def start_instance(self, name, key, params):
        before = self.ending.pop((name, key), None)
        if before:
            await asyncio.wait({before})
        service = self.services.get(name)
        if service and key not in service.instances:
            service.instances[key] = Instance(name, params)

    def delete(self, name):
        """Remove the triggers and return at once; the instances end later."""
        service = self.services.pop(name, None)
        for key, instance in (service.instances if service else {}).items():
            self.stop_instance(name, key, instance)

    def status(self, name):
        service = self.services.get(name)
        if not service or not service.instances:
            return "inactive", 3
        if any(instance.process for instance in service.instances.values()):
            return "running", 0
        return "not running", 5

    async def event(self, package):
        for service in list(self.services.values()):
            if package in service.triggers:
                asyncio.create_task(self.later(service.script))

    async def later(self, script):
        await asyncio.sleep(TRIGGER_DELAY)
        await self.calls.put(script)

    async def run_calls(self):
        """Call one at a time, for all services, without their output."""
        while True:
            script = await self.calls.get()
            call = await asyncio.create_subprocess_exec(
                script, "reload", env={"PATH": PATH}, stdin=asyncio.subprocess.DEVNULL,
                stdout=asyncio.subprocess.DEVNULL, stderr=asyncio.subprocess.DEVNULL)
            log(f"procd: {script} reload ended with {await call.wait()}")

    async def serve(self, reader, writer):
        request = json.loads(await reader.readline())
        answer = {}
        if request["method"] == "set":
            self.set(request["name"], request["script"], request["instances"],
                     request["triggers"])
        elif request["method"] == "delete":
            self.delete(request["name"])
        elif request["method"] == "status":
            answer = self.status(request["name"])
        elif request["method"] == "event":
            await self.event(request["name"])
        writer.write(json.dumps(answer).encode() + b"\n")
        await writer.drain()
        writer.close()

    async def main(self):
        server = await asyncio.start_unix_server(self.serve, SOCKET)
        asyncio.create_task(self.run_calls())
        await server.serve_forever()


def read_message(lines):
    instances, triggers = {}, []
    current = None
    for line in lines:
        word, *rest = line.rstrip("\n").split("\t")
        if word == "instance":
            current = instances[rest[0]] = {}
        elif word == "param":
            current[rest[0]] = rest[1:]
        elif word == "trigger":
            triggers += rest
    return instances, triggers


def ask(request):
    with socket.socket(socket.AF_UNIX) as link:
        link.connect(SOCKET)
        link.sendall(json.dumps(request).encode() + b"\n")
        return json.loads(link.makefile().readline())


def main():
    method, *rest = sys.argv[1:]
    if method == "serve":
        asyncio.run(Procd().main())
        return
    request = {"method": method, "name": rest[0]}
    if method == "set":
        request["script"] = rest[1]
        request["instances"], request["triggers"] = read_message(sys.stdin)
    answer = ask(request)
    if method == "status":
        print(answer[0])
        sys.exit(answer[1])


main()
