'use strict';
// navinfo-dds-security init: from the policies of the bridged daemons, makes
// with openssl everything DDS Security needs (docs/dds-bridge.md, "Security"):
//   OUT/ca/       the identity CA and the permissions CA, keys included:
//                 keep them off the vehicle;
//   OUT/<node>/   what that node's machine needs: both CA certificates, its
//                 certificate and key, the signed governance document, its
//                 signed permissions document and its Cyclone configuration.
// Run again with the same OUT, it keeps the CAs and remakes the nodes' files.
const fs = require('node:fs');
const path = require('node:path');
const crypto = require('node:crypto');
const { spawnSync } = require('node:child_process');
const { parseOptions, UsageError, numberOption } = require('../common/command_line');
const documents = require('./documents');

const EXIT_FAILURE = 1;
const EXIT_USAGE = 2;
const NODE_NAME = /^[A-Za-z0-9][A-Za-z0-9._-]{0,63}$/;
const PLUGIN_DIRS = ['/usr/lib/x86_64-linux-gnu/libddsc0debian', '/usr/lib/aarch64-linux-gnu/libddsc0debian',
  '/usr/lib/x86_64-linux-gnu', '/usr/lib/aarch64-linux-gnu', '/usr/lib', '/usr/local/lib'];

const USAGE = `usage: navinfo-dds-security init --out DIR --policy FILE [--policy FILE ...] [options]

Makes an identity CA, a permissions CA, and for each policy's bridge node its
certificate and key, its signed permissions, the signed governance document
and its Cyclone DDS configuration (DIR/<node>/cyclonedds.xml, for CYCLONEDDS_URI).

  --out DIR            where to write (DIR/ca: the CAs; DIR/<node>: each node's files)
  --policy FILE        a daemon's policy file with a bridge section naming its node (repeat)
  --install-dir DIR    where each node's files will be on its machine (default: DIR/<node>)
  --interface NAME     the network interface the daemons use (default: Cyclone's choice)
  --peer ADDRESS       a unicast discovery peer (repeat; turns multicast off)
  --plugins DIR        where the DDS Security plugins are (default: found in the system)
  --days N             validity of certificates and permissions (default 3650)`;

class FailError extends Error {}

function openssl(args, input) {
  const result = spawnSync('openssl', args, { input, encoding: 'utf8' });
  if (result.error) throw new FailError(`cannot run openssl: ${result.error.message}`);
  if (result.status !== 0) throw new FailError(`openssl ${args[0]} failed: ${(result.stderr || '').trim()}`);
  return result.stdout;
}

function readBridge(file) {
  let policy;
  try {
    policy = JSON.parse(fs.readFileSync(file, 'utf8'));
  } catch (error) {
    throw new FailError(`${file}: ${error.message}`);
  }
  const bridge = policy && policy.bridge;
  if (!bridge || typeof bridge !== 'object') throw new FailError(`${file}: no bridge section`);
  if (typeof bridge.node !== 'string' || !NODE_NAME.test(bridge.node)) {
    throw new FailError(`${file}: the bridge section must name its node (letters, digits, . _ -; at most 64)`);
  }
  return { domain: 0, partition: 'navinfo', export: [], import: [], ...bridge };
}

function findPlugins(dir) {
  const dirs = dir ? [dir] : PLUGIN_DIRS;
  for (const d of dirs) {
    const plugin = (name) => path.join(d, `libdds_security_${name}.so`);
    if (['auth', 'ac', 'crypto'].every((name) => fs.existsSync(plugin(name)))) {
      return { auth: plugin('auth'), ac: plugin('ac'), crypto: plugin('crypto') };
    }
  }
  throw new FailError(`no DDS Security plugins (libdds_security_auth.so, _ac, _crypto) in ${dirs.join(', ')}`);
}

const serial = () => `0x${crypto.randomBytes(8).toString('hex')}`;
const EC_KEY = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1', '-nodes'];

// A self-signed CA, unless DIR/ca already holds one.
function ensureCa(caDir, name, title, days) {
  const cert = path.join(caDir, `${name}.pem`);
  const key = path.join(caDir, `${name}.key`);
  if (!fs.existsSync(cert) || !fs.existsSync(key)) {
    openssl(['req', '-x509', ...EC_KEY, '-keyout', key, '-out', cert, '-days', String(days), '-set_serial', serial(),
      '-subj', `/O=navinfo/CN=${title}`]);
  }
  fs.chmodSync(key, 0o600);
  fs.chmodSync(cert, 0o644);
  return { cert, key };
}

function sign(xml, ca, out) {
  fs.writeFileSync(out, openssl(['smime', '-sign', '-text', '-signer', ca.cert, '-inkey', ca.key], xml));
  fs.chmodSync(out, 0o644);
}

function makeNode(outDir, installDir, bridge, cas, governance, plugins, network, days) {
  const node = bridge.node;
  const dir = path.join(outDir, node);
  fs.mkdirSync(dir, { recursive: true, mode: 0o700 });
  const at = (file) => path.join(dir, file);
  const key = at(`${node}.key`);
  const csr = at(`${node}.csr`);
  openssl(['req', '-new', ...EC_KEY, '-keyout', key, '-out', csr, '-subj', documents.subjectOf(node).openssl]);
  fs.chmodSync(key, 0o600);
  openssl(['x509', '-req', '-in', csr, '-CA', cas.identity.cert, '-CAkey', cas.identity.key, '-set_serial', serial(),
    '-days', String(days), '-out', at(`${node}.pem`)]);
  fs.rmSync(csr);
  for (const [name, ca] of [['identity_ca.pem', cas.identity], ['permissions_ca.pem', cas.permissions]]) {
    fs.copyFileSync(ca.cert, at(name));
  }
  fs.writeFileSync(at('governance.p7s'), governance);
  const now = Date.now();
  const validity = { from: new Date(now - 86400e3), to: new Date(now + days * 86400e3) };
  sign(documents.permissionsXml(node, bridge, validity), cas.permissions, at('permissions.p7s'));
  const there = (file) => path.join(installDir || dir, file);
  const files = { identityCa: there('identity_ca.pem'), certificate: there(`${node}.pem`), key: there(`${node}.key`),
    permissionsCa: there('permissions_ca.pem'), governance: there('governance.p7s'), permissions: there('permissions.p7s') };
  fs.writeFileSync(at('cyclonedds.xml'), documents.cycloneXml(files, plugins, network));
  for (const file of ['identity_ca.pem', 'permissions_ca.pem', 'governance.p7s', `${node}.pem`, 'cyclonedds.xml']) {
    fs.chmodSync(at(file), 0o644);
  }
  return dir;
}

function init(args) {
  const { values } = parseOptions(args, {
    out: { type: 'string' },
    policy: { type: 'string', multiple: true },
    'install-dir': { type: 'string' },
    interface: { type: 'string' },
    peer: { type: 'string', multiple: true },
    plugins: { type: 'string' },
    days: { type: 'string' },
  });
  if (!values.out) throw new UsageError('--out is required');
  if (!values.policy || values.policy.length === 0) throw new UsageError('at least one --policy is required');
  const days = numberOption(values, 'days', 3650, 1, 36500);
  const bridges = values.policy.map(readBridge);
  const names = bridges.map((b) => b.node);
  const twice = names.find((n, i) => names.indexOf(n) !== i);
  if (twice) throw new FailError(`two policies name the node ${twice}: each needs its own identity`);
  const plugins = findPlugins(values.plugins);
  const network = { interface: values.interface, peers: values.peer || [] };

  const outDir = path.resolve(values.out);
  const caDir = path.join(outDir, 'ca');
  fs.mkdirSync(caDir, { recursive: true, mode: 0o700 });
  const cas = {
    identity: ensureCa(caDir, 'identity_ca', 'navinfo identity CA', days),
    permissions: ensureCa(caDir, 'permissions_ca', 'navinfo permissions CA', days),
  };
  const governanceFile = path.join(caDir, 'governance.p7s');
  sign(documents.governanceXml(bridges.map((b) => b.domain)), cas.permissions, governanceFile);
  const governance = fs.readFileSync(governanceFile);
  for (const bridge of bridges) {
    const installDir = values['install-dir'] && path.resolve(values['install-dir']);
    const dir = makeNode(outDir, installDir, bridge, cas, governance, plugins, network, days);
    const { publish, subscribe } = documents.topicsOfRole(bridge);
    process.stdout.write(`${bridge.node}: ${dir} (publishes ${publish.join(', ') || 'nothing'}; ` +
      `subscribes ${subscribe.join(', ') || 'nothing'}; domain ${bridge.domain}, partition ${bridge.partition})\n`);
  }
}

function cli(argv = process.argv.slice(2)) {
  try {
    if (argv[0] === '--help' || argv[0] === '-h') {
      process.stdout.write(`${USAGE}\n`);
      return;
    }
    if (argv[0] !== 'init') throw new UsageError(argv[0] ? `unknown command "${argv[0]}"` : 'no command');
    init(argv.slice(1));
  } catch (error) {
    if (error instanceof UsageError) {
      process.stderr.write(`navinfo-dds-security: ${error.message}\n${USAGE}\n`);
      process.exitCode = EXIT_USAGE;
    } else if (error instanceof FailError) {
      process.stderr.write(`navinfo-dds-security: ${error.message}\n`);
      process.exitCode = EXIT_FAILURE;
    } else {
      process.stderr.write(`navinfo-dds-security: ${error.stack || error}\n`);
      process.exitCode = EXIT_FAILURE;
    }
  }
}

module.exports = { cli };
