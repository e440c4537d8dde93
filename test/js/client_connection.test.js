'use strict';
// The client API with the daemon coming, going and changing its policy:
// what is opened before the daemon is up takes effect when it comes, the
// client tells the state of its connection, refused subscriptions and
// servers come back by themselves, and the library finds the daemon at its
// default socket (and only there, and never during the tests by accident).
const { describe, test, after } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const { startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');
const paths = require('./support/paths');
const { runScript } = require('./support/child');

const MAP = 'com.example.map';
const DASH = 'com.example.dash';
const ALLOW = { [MAP]: { navigationPermission: true }, [DASH]: { systemApp: true, navigationPermission: true } };
// The back-off of refused registrations starts at this in the clients
// started here (1 s by default); its longest wait is 30 times that.
const RETRY_BASE_MS = 100;
const RECOVERY_BOUND_MS = RETRY_BASE_MS * 30 + 2000;

const clientApp = (socket, bundle, plan, extra = {}) => startApp(socket, bundle, {
  script: 'client_child.js',
  env: { CLIENT_PLAN: plan, CLIENT_FOLLOW: MAP, NAVINFO_REFUSAL_RETRY_MS: String(RETRY_BASE_MS), ...extra },
});
const eventNames = (app, names) => app.events.filter((e) => names.includes(e.event)).map((e) => e.event);

describe('the client API and the daemon', () => {
  const tmp = tempDir();
  after(() => {
    killAll();
    tmp.remove();
  });

  test('followStatus, serve and ready() made before the daemon is up take effect when it comes', async () => {
    const socket = tmp.file('late.sock');
    const policy = writePolicy(tmp.file('late.json'), ALLOW);
    const rows = [
      // [bundle, plan]: what each process opened while nothing listened
      [DASH, 'follow,ready'],
      [MAP, 'serve,ready'],
      [DASH, 'ready'], // nothing registered: ready() alone has the library seek the daemon
    ];
    const apps = await Promise.all(rows.map(([bundle, plan]) => clientApp(socket, bundle, plan)));
    for (const app of apps) {
      assert.deepEqual(app.events.find((e) => e.event === 'created'), { event: 'created', connected: false });
      assert.equal(app.events.some((e) => e.event === 'error' || e.event === 'ready'), false, app.bundle);
    }
    const daemon = await startDaemon(['--socket', socket, '--policy', policy]);
    const [dash, map, waiting] = apps;
    for (const app of apps) {
      assert.deepEqual(await app.waitEvent('ready'), { event: 'ready', connected: true }, app.bundle);
      await app.waitEvent('connect');
    }
    // The server kept by MAP answers; the subscription kept by DASH gets what MAP publishes.
    assert.deepEqual(await dash.call('query', [MAP]), { ok: true, value: 'served' });
    await map.call('publish', [{ routeIndex: 8 }]);
    await dash.waitEvent('status', (e) => e.routeIndex === 8);
    assert.deepEqual(eventNames(dash, ['connect', 'reconnect', 'disconnect']), ['connect']);
    assert.equal((await waiting.call('connected')).value, true);
    await daemon.stop();
  });

  test('connection events: disconnect with its reason, then connect and reconnect; connected follows', async () => {
    const socket = tmp.file('events.sock');
    const args = ['--socket', socket, '--policy', writePolicy(tmp.file('events.json'), ALLOW)];
    let daemon = await startDaemon(args);
    const app = await clientApp(socket, DASH, 'follow');
    assert.deepEqual(app.events[0], { event: 'created', connected: true });
    await app.waitEvent('connect');
    const steps = [
      // [what happens, the event it brings, what connected then says]
      ['the daemon stops', () => daemon.stop(), 'disconnect', false],
      ['the daemon comes back', async () => { daemon = await startDaemon(args); }, 'reconnect', true],
    ];
    for (const [name, act, event, connected] of steps) {
      const before = app.events.length;
      await act();
      const seen = await app.waitEvent(event, (e) => app.events.indexOf(e) >= before);
      assert.equal((await app.call('connected')).value, connected, name);
      if (event === 'disconnect') assert.deepEqual(seen, { event, connected: false, code: 'ERR_NAVINFO_SERVICE_UNAVAILABLE' });
    }
    assert.deepEqual(eventNames(app, ['connect', 'disconnect', 'reconnect']), ['connect', 'disconnect', 'connect', 'reconnect']);
    await daemon.stop();
  });

  test('ready() settles by connection, time-out, abort or close', () => {
    const absent = { NAVINFO_SERVICE_SOCKET: tmp.file('nobody.sock'), HILOG_LEVEL: 'off' };
    const rows = [
      ['embedded: at once', { NAVINFO_SERVICE_SOCKET: '' }, 'client.ready()', 'ready true'],
      ['time-out', absent, 'client.ready({ timeout: 100 })', 'failed ERR_NAVINFO_TIMEOUT false'],
      ['abort', absent, 'client.ready({ signal: AbortSignal.timeout(100) })', 'failed ABORT_ERR false'],
      ['close', absent, '(setTimeout(() => client.close(), 100), client.ready())', 'failed ERR_NAVINFO_CLIENT_CLOSED false'],
      ['bad timeout', absent, 'client.ready({ timeout: 0 })', 'failed ERR_OUT_OF_RANGE false'],
    ];
    for (const [name, env, call, line] of rows) {
      const result = runScript(`
        const api = require(require('node:path').join(process.env.NAVINFO_ROOT, 'lib/client'));
        const client = api.createClient();
        ${call}.then(() => console.log('ready ' + client.connected),
          (e) => console.log('failed ' + e.code + ' ' + client.connected)).finally(() => client.close());`,
      { env, timeoutMs: 10000 });
      assert.equal(result.timedOut, false, name);
      assert.equal(result.stdout.trim(), line, `${name}: ${result.stderr}`);
    }
  });

  describe('a refused subscription or server comes back by itself once the policy allows it', () => {
    const NARROWED = { ...ALLOW, [DASH]: { systemApp: true, navigationPermission: false } };
    const rows = [
      // [name, the policy while refused, restart instead of reload, bundle, plan, refused from the start]
      ['a reload takes the follower\'s permission, another gives it back', NARROWED, false, DASH, 'follow'],
      ['a reload refuses the follower\'s identity, another accepts it', { [MAP]: ALLOW[MAP] }, false, DASH, 'follow'],
      ['a daemon restarted under a narrowed policy, then under the fixed one', NARROWED, true, DASH, 'follow'],
      ['a reload takes the server\'s permission, another gives it back',
        { ...ALLOW, [MAP]: { navigationPermission: false } }, false, MAP, 'serve'],
      ['refused when it follows, a reload then allows it', NARROWED, false, DASH, 'follow', true],
    ];
    for (const [name, refusing, restart, bundle, plan, fromStart = false] of rows) {
      test(name, async () => {
        const socket = tmp.file(`refused-${rows.findIndex((r) => r[0] === name)}.sock`);
        const policy = tmp.file(`refused-${path.basename(socket)}.json`);
        writePolicy(policy, ALLOW);
        const args = ['--socket', socket, '--policy', policy];
        let daemon = await startDaemon(args);
        const apply = async (bundles) => {
          writePolicy(policy, bundles);
          if (restart) {
            await daemon.stop();
            daemon = await startDaemon(args);
          } else {
            const before = daemon.stderr().length;
            daemon.child.kill('SIGHUP');
            await daemon.waitStderr(new RegExp(`^[^]{${before}}[^]*reloaded`));
          }
        };
        if (fromStart) await apply(refusing);
        const app = await clientApp(socket, bundle, plan);
        const other = await startApp(socket, bundle === MAP ? DASH : MAP);
        await app.waitEvent('connect');

        if (!fromStart) await apply(refusing);
        const refused = await app.waitEvent('error');
        assert.deepEqual(refused, { event: 'error', what: plan, code: 'ERR_NAVINFO_NO_PERMISSION' });
        const fixedAt = Date.now();
        await apply(ALLOW);
        await app.waitEvent('resume', () => true, RECOVERY_BOUND_MS);
        assert.ok(Date.now() - fixedAt <= RECOVERY_BOUND_MS, `back after ${Date.now() - fixedAt} ms`);
        // Taking effect again, with no call of the application in between.
        if (plan === 'follow') {
          await other.call('updateStatus', [{ routeIndex: 5 }]);
          await app.waitEvent('status', (e) => e.routeIndex === 5);
        } else {
          assert.deepEqual((await other.call('query', [MAP, 'navigationStatus', {}])).value.message, 'served');
        }
        assert.deepEqual(eventNames(app, ['error', 'resume']), ['error', 'resume']);
        await daemon.stop();
      });
    }
  });

  test('without NAVINFO_SERVICE_SOCKET the daemon at the default socket is used, else the embedded service', async () => {
    const runtime = tempDir(); // stands for $XDG_RUNTIME_DIR
    const { defaultDaemonSocket } = require(path.join(paths.root, 'apps/common/command_line.js'));
    const probe = (env, options = '') => {
      const childEnv = { ...process.env, NAVINFO_BUILD_DIR: paths.buildDir, NAVINFO_ROOT: paths.root,
        XDG_RUNTIME_DIR: runtime.dir, HILOG_LEVEL: 'info', ...env };
      for (const [key, value] of Object.entries(childEnv)) if (value === undefined) delete childEnv[key];
      const result = spawnSync(process.execPath, ['-e', `
        const api = require(require('node:path').join(process.env.NAVINFO_ROOT, 'lib/client'));
        const client = api.createClient(${options});
        console.log(JSON.stringify(client.endpoint));
        client.close();`], { env: childEnv, encoding: 'utf8', timeout: 10000 });
      assert.equal(result.status, 0, result.stderr);
      return { endpoint: JSON.parse(result.stdout), log: result.stderr };
    };
    const defaultSocket = path.join(runtime.dir, 'navinfo-service.sock');
    const nobody = probe({ NAVINFO_SERVICE_SOCKET: undefined });
    assert.equal(nobody.endpoint.embedded, true);
    assert.match(nobody.log, /using the service embedded in this process \(no daemon listens at .*navinfo-service\.sock/);

    const daemon = await startDaemon(['--policy', writePolicy(tmp.file('default.json'), ALLOW)],
      { env: { XDG_RUNTIME_DIR: runtime.dir, NAVINFO_SERVICE_SOCKET: '' } });
    assert.equal(daemon.socketPath, defaultSocket);
    const cases = [
      // [name, environment, createClient options, what is used]
      ['unset: the daemon found there', { NAVINFO_SERVICE_SOCKET: undefined }, '', { socket: defaultSocket, embedded: false }],
      ['set and empty: embedded', { NAVINFO_SERVICE_SOCKET: '' }, '', { socket: '', embedded: true }],
      ['in code: embedded', { NAVINFO_SERVICE_SOCKET: undefined }, '{ socket: "" }', { socket: '', embedded: true }],
      ['in code: the daemon, as another bundle', { NAVINFO_SERVICE_SOCKET: '' },
        `{ socket: ${JSON.stringify(defaultSocket)}, bundleName: "${DASH}" }`,
        { socket: defaultSocket, embedded: false, bundleName: DASH }],
    ];
    for (const [name, env, options, expected] of cases) {
      const { endpoint, log } = probe(env, options);
      for (const [key, value] of Object.entries(expected)) assert.equal(endpoint[key], value, `${name}: ${key}`);
      assert.match(log, expected.embedded ? /using the service embedded/ : /using navinfo-service at /, name);
    }
    // navinfo looks at the same socket.
    const saved = process.env.XDG_RUNTIME_DIR;
    process.env.XDG_RUNTIME_DIR = runtime.dir;
    try {
      assert.equal(defaultDaemonSocket(), defaultSocket);
    } finally {
      if (saved === undefined) delete process.env.XDG_RUNTIME_DIR; else process.env.XDG_RUNTIME_DIR = saved;
    }
    await daemon.stop();
    runtime.remove();
  });

  test('createClient({ socket, bundleName, token }) after the process chose otherwise throws', () => {
    const result = runScript(`
      const api = require(require('node:path').join(process.env.NAVINFO_ROOT, 'lib/client'));
      api.createClient().close();
      const tries = [{ socket: '' }, { socket: '/tmp/other.sock' }, { bundleName: 'com.example.other' }, { token: 'x' },
        { socket: 42 }];
      for (const options of tries) {
        try { api.createClient(options).close(); console.log('ok'); } catch (e) { console.log(e.code); }
      }`, { env: { NAVINFO_SERVICE_SOCKET: '', NAVINFO_BUNDLE_NAME: MAP } });
    assert.equal(result.status, 0, result.stderr);
    assert.deepEqual(result.stdout.trim().split('\n'), ['ok', 'ERR_NAVINFO_ALREADY_CONNECTED',
      'ERR_NAVINFO_ALREADY_CONNECTED', 'ERR_NAVINFO_ALREADY_CONNECTED', 'ERR_INVALID_ARG_TYPE']);
  });
});
