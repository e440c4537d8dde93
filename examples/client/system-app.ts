// A system application (cluster, HUD) on the client API: follows a navigation
// application, asks it, and tells it what to do.
import { createClient, QueryType, CommandType, NavInfoError, type NavigationMetadata } from 'navigation-info-mgr/client';

const MAP = process.env.MAP_BUNDLE ?? 'com.example.map';

async function main(): Promise<void> {
  const client = createClient();
  client.on('disconnect', (reason) => console.warn(`service lost: ${reason.message}`));
  client.on('reconnect', () => console.warn('service back'));
  try {
    // With the daemon: wait for it at most 5 s (the subscriptions below would wait for it anyway).
    await client.ready({ timeout: 5000 });
    // Events: the current status first, then each change; `this` is the subscription.
    const statuses = client.followStatus(MAP).on('status', function (status, bundleName) {
      console.log(`${bundleName} (${this.kind}): status ${status.status}, to ${status.destLocation.name}, ` +
        `${this.ageOf(status)} ms old`);
    });
    statuses.on('unavailable', () => console.log(`${MAP} gives no navigation information now`));
    // A refusal by the daemon's policy is tried again by the library until it is allowed.
    statuses.on('error', (error) => console.warn(`refused: ${error.code}`));
    statuses.on('resume', () => console.warn('following again'));

    const known = client.getStatus(MAP);
    console.log(known === null ? `${MAP} has not published yet` : `last update ${known.updatedAt.toISOString()}`);

    const answer = await client.query(MAP, QueryType.NAVIGATION_STATUS, {}, { timeout: 2000 });
    console.log('answer:', answer.code, answer.message, answer.data);
    await client.command(MAP, CommandType.GO_HOME, {}, { signal: AbortSignal.timeout(5000) });

    // Async iteration: leaving the loop closes the subscription.
    for await (const metadata of client.followMetadata(MAP)) {
      show(metadata);
      if (metadata.totalLeftDis === 0) break;
    }
  } catch (error) {
    if (!(error instanceof NavInfoError)) throw error;
    console.error(`${error.code} (${error.result ?? '-'}): ${error.message}`);
    process.exitCode = 1;
  } finally {
    client.close(); // nothing is left open: the process exits
  }
}

function show(metadata: NavigationMetadata): void {
  console.log(`${metadata.currentRoadName}: ${metadata.totalLeftDis} m left at ${metadata.currentSpeed} km/h`);
}

main().catch((error: unknown) => {
  console.error(error);
  process.exitCode = 1;
});
