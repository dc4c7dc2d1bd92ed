"""What the tests of stations share: programs that are ended, boards, ser2net, and an orderly end."""

import asyncio
import contextlib
import os
import pathlib
import re
import signal
import socket
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples/stations"
BUILD = ROOT / "build/demo"
BOARDS = BUILD / "boards/kvo-boards"


def require(holds: bool, *what):
    if not holds:
        sys.exit("DIFFERS: " + " ".join(map(str, what)))


async def until(condition, *what):
    for _ in range(600):
        if condition():
            return
        await asyncio.sleep(0.05)
    require(False, "after 30 s not yet:", *what)


def has_socket(port: int, states: str) -> bool:
    """Whether a socket at this machine's port is in one of the states, numbered as the kernel does."""
    sockets = "".join(pathlib.Path("/proc/net", name).read_text() for name in ("tcp", "tcp6"))
    return bool(re.search(f":{port:04X} [0-9A-F]+:[0-9A-F]+ ({states}) ", sockets))


def is_listening(port: int) -> bool:
    return has_socket(port, "0A")


def is_connected(port: int) -> bool:
    return has_socket(port, "01|08")


@contextlib.asynccontextmanager
async def running(*command, **options):
    """A program, which ends with the block at the latest."""
    process = await asyncio.create_subprocess_exec(*map(str, command), **options)
    try:
        yield process
    finally:
        with contextlib.suppress(ProcessLookupError):
            process.kill()
        await process.wait()


async def run(*command, **options) -> tuple:
    """Exit status, standard output, standard error."""
    pipe = asyncio.subprocess.PIPE
    async with running(*command, stdout=pipe, stderr=pipe, **options) as process:
        output = await process.communicate()
        return process.returncode, *(text.decode(errors="replace") for text in output)


@contextlib.asynccontextmanager
async def board(device, rate: int, *options):
    """A simulated one, whose flash is the file DEVICE.flash."""
    async with running(BUILD / "simulator/kvo-board-simulator", "--link", device,
                       "--flash", f"{device}.flash", "--line-rate", rate, *options,
                       stdout=asyncio.subprocess.DEVNULL):
        await until(lambda: os.path.exists(device), "a board at", device)
        yield


def holds(device, image: pathlib.Path) -> bool:
    flash = pathlib.Path(f"{device}.flash")
    return flash.exists() and flash.read_bytes() == image.read_bytes()


def with_free_ports(text: str) -> tuple:
    """Ser2net's configuration with other ports to listen to, and these."""
    ports = []

    def free_port(_) -> str:
        with socket.create_server(("127.0.0.1", 0)) as server:
            ports.append(server.getsockname()[1])
        return str(ports[-1])

    return re.sub(r"(?<=accepter: tcp\(nodelay\),127\.0\.0\.1,)\d+", free_port, text), ports


@contextlib.asynccontextmanager
async def ser2net(folder: pathlib.Path, text: str, ports: list):
    configuration = folder / f"{ports[0]}.yaml"
    configuration.write_text(text)
    # Where there is no Avahi it says so.
    async with running("ser2net", "-n", "-u", "-c", configuration,
                       stderr=asyncio.subprocess.DEVNULL):
        for port in ports:
            await until(lambda: is_listening(port), "ser2net listens to", port)
        yield


async def _within(test, seconds: float):
    task = asyncio.current_task()
    for number in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(number, task.cancel)
    with tempfile.TemporaryDirectory() as folder:
        async with asyncio.timeout(seconds):
            await test(pathlib.Path(folder))


def start(test, seconds: float):
    """Runs `test(folder)`, which leaves nothing behind when it fails, hangs or is interrupted."""
    if os.geteuid() == 0:
        os.nice(-5)  # the utility waits for 100 ms
    try:
        asyncio.run(_within(test, seconds))
    except asyncio.CancelledError:
        sys.exit(130)
