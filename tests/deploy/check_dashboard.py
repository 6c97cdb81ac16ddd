"""check_dashboard.py DASHBOARD RECORDING TEXT FOLDER: each query of the dashboard finds data in a real server.

TEXT is the recording as openmetrics. What `tessary serve` adds to that is added here, what the recording rules make of it
by promtool."""
import glob
import json
import os
import shutil
import subprocess
import sys

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "export"))
from prometheus import Server  # noqa: E402
from recording import Recording  # noqa: E402

PORT = 19465
STEP = 15
# Made by the running server alone, while an alert fires.
WITHOUT_DATA = "ALERTS{"


def create_blocks(*arguments):
    subprocess.run(["promtool", "tsdb", "create-blocks-from", *arguments], check=True, stdout=subprocess.DEVNULL)


dashboard_path, recording_path, text_path, folder = sys.argv[1:]
with open(dashboard_path, encoding="utf-8") as file:
    dashboard = json.load(file)
recording = Recording(recording_path)
times = [sample["unix_time_ns"] / 1e9 for sample in recording.samples]
board = recording.header["board"]["model"]
rules = glob.glob("deploy/rules/*.yml")

with open(text_path, encoding="utf-8") as file:
    text = file.read().replace("# EOF\n", "# TYPE tessary_up gauge\n")
served = folder + "/served.om"
with open(served, "w", encoding="utf-8") as file:
    file.write(text + "".join('tessary_up{board="%s"} 1 %.3f\n' % (board, time) for time in times) + "# EOF\n")
os.makedirs(folder + "/data")
create_blocks("openmetrics", served, folder + "/data")
with Server(folder, PORT) as server:
    create_blocks("rules", "--url=" + server.url, "--start=%d" % times[0], "--end=%d" % times[-1],
                  "--output-dir=" + folder + "/recorded", *rules)
for block in glob.glob(folder + "/recorded/*"):
    shutil.move(block, folder + "/data")

queries = [(panel["title"], target) for panel in dashboard["panels"] for target in panel["targets"]]
queries += [("annotations", dict(one, range=True)) for one in dashboard["annotations"]["list"]]
with Server(folder, PORT) as server:
    for title, target in queries:
        query = target["expr"].replace("$board", ".*")
        assert "$" not in query, "%s: a variable that nobody sets: %s" % (title, query)
        if target.get("range"):
            found = server.get("query_range", query=query, start=times[0], end=times[-1], step=STEP)["result"]
        else:
            found = server.ask(query, times[-1])
        assert found or WITHOUT_DATA in query, "%s: no data: %s" % (title, query)
    for variable in dashboard["templating"]["list"]:
        if variable["type"] == "query":
            metric, label = variable["query"].removeprefix("label_values(").removesuffix(")").split(", ")
            values = server.get("label/%s/values" % label, **{"match[]": metric, "start": times[0], "end": times[-1]})
            assert values == [board], "%s: %r" % (variable["name"], values)
print("dashboard: %d queries in %d panels" % (len(queries), len(dashboard["panels"])))
