'use strict';
// The DDS Security documents of a set of bridged daemons, from their policies'
// bridge sections: one governance document for all (the bridge's topics and
// discovery protected: authenticated participants only, access control on
// every topic, encrypted payloads and discovery), one permissions document
// per node (what its role may publish and subscribe, in its domain and
// partition), and each node's Cyclone DDS configuration.

const TOPICS = {
  claim: 'navinfo_Claim',
  status: 'navinfo_Status',
  metadata: 'navinfo_Metadata',
  request: 'navinfo_Request',
  reply: 'navinfo_Reply',
};

// The same split as the daemon's own endpoints (service/daemon/dds/dds_entities.cpp).
function topicsOfRole(bridge) {
  const exporter = (bridge.export || []).length > 0;
  const importer = (bridge.import || []).length > 0;
  const publish = new Set();
  const subscribe = new Set();
  if (exporter) {
    [TOPICS.claim, TOPICS.status, TOPICS.metadata, TOPICS.reply].forEach((t) => publish.add(t));
    [TOPICS.claim, TOPICS.request].forEach((t) => subscribe.add(t));
  }
  if (importer) {
    publish.add(TOPICS.request);
    [TOPICS.claim, TOPICS.status, TOPICS.metadata, TOPICS.reply].forEach((t) => subscribe.add(t));
  }
  return { publish: [...publish], subscribe: [...subscribe] };
}

function escapeXml(text) {
  return String(text).replace(/[<>&'"]/g, (c) => ({ '<': '&lt;', '>': '&gt;', '&': '&amp;', "'": '&apos;', '"': '&quot;' }[c]));
}

// The subject a node's certificate carries, as openssl -subj and as the permissions document name it.
function subjectOf(node) {
  return { openssl: `/O=navinfo/CN=${node}`, permissions: `CN=${node},O=navinfo` };
}

function governanceXml(domains) {
  const ids = [...new Set(domains)].sort((x, y) => x - y).map((id) => `<id>${id}</id>`).join('');
  return `<?xml version="1.0" encoding="UTF-8"?>
<dds xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
     xsi:noNamespaceSchemaLocation="http://www.omg.org/spec/DDS-Security/20170801/omg_shared_ca_governance.xsd">
  <domain_access_rules>
    <domain_rule>
      <domains>${ids}</domains>
      <allow_unauthenticated_participants>false</allow_unauthenticated_participants>
      <enable_join_access_control>true</enable_join_access_control>
      <discovery_protection_kind>ENCRYPT</discovery_protection_kind>
      <liveliness_protection_kind>ENCRYPT</liveliness_protection_kind>
      <rtps_protection_kind>NONE</rtps_protection_kind>
      <topic_access_rules>
        <topic_rule>
          <topic_expression>navinfo_*</topic_expression>
          <enable_discovery_protection>true</enable_discovery_protection>
          <enable_liveliness_protection>true</enable_liveliness_protection>
          <enable_read_access_control>true</enable_read_access_control>
          <enable_write_access_control>true</enable_write_access_control>
          <metadata_protection_kind>ENCRYPT</metadata_protection_kind>
          <data_protection_kind>ENCRYPT</data_protection_kind>
        </topic_rule>
      </topic_access_rules>
    </domain_rule>
  </domain_access_rules>
</dds>
`;
}

function isoSeconds(date) {
  return date.toISOString().replace(/\.\d+Z$/, '');
}

// validity: { from: Date, to: Date }
function permissionsXml(node, bridge, validity) {
  const { publish, subscribe } = topicsOfRole(bridge);
  const partition = `<partitions><partition>${escapeXml(bridge.partition)}</partition></partitions>`;
  const block = (tag, topics) => (topics.length === 0 ? '' : `
        <${tag}>
          <topics>${topics.map((t) => `<topic>${t}</topic>`).join('')}</topics>
          ${partition}
        </${tag}>`);
  return `<?xml version="1.0" encoding="UTF-8"?>
<dds xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
     xsi:noNamespaceSchemaLocation="http://www.omg.org/spec/DDS-Security/20170801/omg_shared_ca_permissions.xsd">
  <permissions>
    <grant name="${escapeXml(node)}">
      <subject_name>${escapeXml(subjectOf(node).permissions)}</subject_name>
      <validity>
        <not_before>${isoSeconds(validity.from)}</not_before>
        <not_after>${isoSeconds(validity.to)}</not_after>
      </validity>
      <allow_rule>
        <domains><id>${bridge.domain}</id></domains>${block('publish', publish)}${block('subscribe', subscribe)}
      </allow_rule>
      <default>DENY</default>
    </grant>
  </permissions>
</dds>
`;
}

// files: absolute paths of the node's identity CA, certificate, key,
// permissions CA, governance and permissions; network: { interface, peers }.
function cycloneXml(files, plugins, network) {
  const uri = (file) => `file:${escapeXml(file)}`;
  const general = network.interface
    ? `
    <General>
      <Interfaces><NetworkInterface name="${escapeXml(network.interface)}"/></Interfaces>${network.peers.length > 0 ? `
      <AllowMulticast>false</AllowMulticast>` : ''}
    </General>`
    : '';
  const discovery = network.peers.length > 0
    ? `
    <Discovery>
      <ParticipantIndex>auto</ParticipantIndex>
      <MaxAutoParticipantIndex>20</MaxAutoParticipantIndex>
      <Peers>${network.peers.map((p) => `<Peer address="${escapeXml(p)}"/>`).join('')}</Peers>
    </Discovery>`
    : '';
  return `<?xml version="1.0" encoding="UTF-8"?>
<CycloneDDS>
  <Domain id="any">${general}${discovery}
    <Security>
      <Authentication>
        <Library path="${escapeXml(plugins.auth)}"/>
        <IdentityCA>${uri(files.identityCa)}</IdentityCA>
        <IdentityCertificate>${uri(files.certificate)}</IdentityCertificate>
        <PrivateKey>${uri(files.key)}</PrivateKey>
      </Authentication>
      <AccessControl>
        <Library path="${escapeXml(plugins.ac)}"/>
        <PermissionsCA>${uri(files.permissionsCa)}</PermissionsCA>
        <Governance>${uri(files.governance)}</Governance>
        <Permissions>${uri(files.permissions)}</Permissions>
      </AccessControl>
      <Cryptographic>
        <Library path="${escapeXml(plugins.crypto)}"/>
      </Cryptographic>
    </Security>
  </Domain>
</CycloneDDS>
`;
}

module.exports = { TOPICS, topicsOfRole, subjectOf, governanceXml, permissionsXml, cycloneXml };
