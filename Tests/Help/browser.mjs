// The installed browser, without a window.
import { chromium } from "playwright-core";

export function launch() {
  // The sandbox does not start as root.
  const args = process.getuid() === 0 ? ["--no-sandbox"] : [];
  return chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", args });
}
