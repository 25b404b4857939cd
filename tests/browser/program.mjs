// The program under test, and pages open on it.
import {spawn} from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import {setTimeout as pause} from 'node:timers/promises';
import {fileURLToPath} from 'node:url';
import {chromium} from 'playwright-core';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
export const programPath = process.env.TARNWICK ?? path.join(root, 'build/linux-release/tarnwick');

const kPatience = 300000;  // ms for what happens at once on a machine that has nothing else to do

// Waits until check() gives something, and gives it on.
export async function until(check, what) {
  for (const end = Date.now() + kPatience; Date.now() < end; await pause(40)) {
    const answer = await check();
    if (answer) {
      return answer;
    }
  }
  throw new Error(`not within ${kPatience} ms: ${what}`);
}

function freePort() {
  return new Promise((resolve, reject) => {
    const probe = net.createServer().once('error', reject).listen(0, '127.0.0.1', () => {
      const {port} = probe.address();
      probe.close(() => resolve(port));
    });
  });
}

// Runs the program with a home, settings and power commands of its own.
export class Program {
  static async start(...options) {
    const program = new Program();
    program.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-pages-'));
    program.powerLog = path.join(program.folder, 'systemctl.log');
    const commands = path.join(program.folder, 'bin');
    fs.mkdirSync(commands);
    fs.writeFileSync(path.join(commands, 'systemctl'), `#!/bin/sh\necho "$@" >>'${program.powerLog}'\n`, {mode: 0o755});
    program.environment = {...process.env, PATH: `${commands}:${process.env.PATH}`, HOME: program.folder,
                           XDG_CONFIG_HOME: path.join(program.folder, 'config')};
    program.options = ['--settings', path.join(program.folder, 'settings'), '--state-dir', program.folder,
                       '--virtual-clock', 'real', ...options];
    program.port = await freePort();
    program.url = `http://127.0.0.1:${program.port}`;
    await program.run();
    return program;
  }
  async run() {
    this.output = '';
    this.process = spawn(programPath, ['--remote-port', String(this.port), ...this.options],
                         {env: this.environment, stdio: ['ignore', 'pipe', 'pipe']});
    this.ended = new Promise((resolve) => this.process.once('exit', resolve));
    for (const stream of [this.process.stdout, this.process.stderr]) {
      stream.on('data', (text) => this.output += text);
    }
    this.process.once('error', (fault) => this.output += fault);
    try {
      await until(() => this.get('/healthz').then(() => true, () => false), 'the program answers');
    } catch (fault) {
      this.process.kill('SIGKILL');
      throw new Error(`${fault.message}\n${this.output}`);
    }
  }
  async get(where) {
    return (await fetch(this.url + where)).json();
  }
  status() {
    return this.get('/api/status');
  }
  // Waits until the status document agrees, and what these pages have heard of it: what a page does next may depend on it.
  async becomes(check, what, ...pages) {
    await until(async () => check(await this.status()), what);
    for (const page of pages) {
      await until(async () => check(await page.evaluate(() => link.status)), `${what}, and the page has heard of it`);
    }
  }
  async post(where) {
    return (await fetch(this.url + where, {method: 'POST'})).status;
  }
  async kill(signal = 'SIGKILL') {
    this.process.kill(signal);
    await this.ended;
  }
  async stop() {
    this.process.kill('SIGCONT');
    await this.kill();
    fs.rmSync(this.folder, {recursive: true, force: true});
  }
}

let browser;

export async function startBrowser() {
  browser = await chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
           '--disable-component-update', '--disable-sync', '--host-resolver-rules=MAP *.example 127.0.0.1'],
  });
}

export const stopBrowser = () => browser?.close();

// A page that is connected; its errors are in `faults`.
export async function openPage(program, where, viewport = {width: 1440, height: 900}, more = {}) {
  const page = await browser.newPage({viewport, ...more});
  page.setDefaultTimeout(kPatience);
  page.faults = [];
  page.on('pageerror', (fault) => page.faults.push(fault.message));
  page.on('console', (line) => ['error', 'warning'].includes(line.type()) && page.faults.push(line.text()));
  page.on('request', (request) => request.url().startsWith(program.url) || page.faults.push(request.url()));
  await page.goto(program.url + where);
  await until(() => page.evaluate(() => link.connected), `${where} is connected`);
  return page;
}

// Presses a button by mouse, or by a key, until the page has counted its second.
export async function hold(page, selector, {key} = {}) {
  const target = page.locator(selector);
  if (key) {
    await target.focus();
    await page.keyboard.down(key);
  } else {
    await page.mouse.click(1, 1);  // takes away what was said before
    await target.scrollIntoViewIfNeeded();
    await target.hover();
    await page.mouse.down();
  }
  await until(() => target.evaluate((one) => !one.classList.contains('held')), `${selector} is held`);
  await (key ? page.keyboard.up(key) : page.mouse.up());
}

// A press that ends as it begins: the page's clock has no time to run between.
export const tap = (page, selector) => page.locator(selector).evaluate((button) => {
  for (const type of ['pointerdown', 'pointerup', 'click']) {
    button.dispatchEvent(new PointerEvent(type, {bubbles: true, detail: 1, pointerType: 'mouse'}));
  }
});

export const note = (page) => page.locator('.note').allTextContents().then((texts) => texts.join('\n'));
export {pause};
