// Page -> extension -> host -> page: "getVersion" round trips measured inside
// a page in Chromium, beside the host's own round trip over its pipes
// (host_roundtrip) in the same run, and the time from opening the demo page
// to "authorized".
// Run: node bench/web_roundtrip.mjs [requests=1000] [page opens=5]   (after scripts/setup build)

import { execFileSync } from "node:child_process";
import { join } from "node:path";

import { BUILD, hostHome, launchBrowser, removeHome, serveWeb } from "../tests/web/harness.mjs";

const requests = Number(process.argv[2] || 1000);
const opens = Number(process.argv[3] || 5);
const percentile = (sorted, p) => sorted[Math.min(sorted.length - 1, Math.floor((p / 100) * sorted.length))];

const site = await serveWeb("127.0.0.1");
const home = hostHome(["127.0.0.1"]);
const browser = await launchBrowser(home);
try {
  const page = await browser.context.newPage();
  await page.goto(site.origin + "/");
  const times = await page.evaluate(async (count) => {
    const { connect } = await import("/lib/softphone.js");
    const phone = await connect({ timeoutMs: 5000 });
    await phone.authorize();
    for (let i = 0; i < 20; i++) await phone.request("getVersion"); // warm-up
    const out = [];
    for (let i = 0; i < count; i++) {
      const start = performance.now();
      await phone.request("getVersion");
      out.push((performance.now() - start) * 1000);
    }
    return out;
  }, requests);
  times.sort((a, b) => a - b);
  console.log(`page      getVersion round trip over ${requests} requests: median ${percentile(times, 50).toFixed(1)} us, p99 ${percentile(times, 99).toFixed(1)} us`);

  const authorized = [];
  for (let i = 0; i < opens; i++) {
    const demo = await browser.context.newPage();
    const start = Date.now();
    await demo.goto(site.origin + "/demo/index.html");
    await demo.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
    authorized.push(Date.now() - start);
    await demo.close();
  }
  authorized.sort((a, b) => a - b);
  console.log(`demo page opened to authorized over ${opens} opens: median ${percentile(authorized, 50)} ms, max ${authorized[authorized.length - 1]} ms`);
} finally {
  await browser.context.close();
  await site.close();
  removeHome(home);
}
// The host alone, driven over its pipes the same way, in the same run.
process.stdout.write(execFileSync(join(BUILD, "bin/host_roundtrip"), [String(requests), "3"], { encoding: "utf8" }));
