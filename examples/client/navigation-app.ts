// A navigation (map) application on the client API: publishes its status and
// guidance, and answers the queries and commands of system applications.
import { createClient, MapStatus, NaviType, type NavigationStatusInput, type QueryRequest } from 'navigation-info-mgr/client';

const client = createClient();

let status: NavigationStatusInput = { status: MapStatus.CRUISE, naviType: NaviType.DRIVING };
client.publishStatus(status);

// Handlers may be methods of a class: they are called on their object.
class Queries {
  private readonly answered = new Map<string, number>();

  navigationStatus(request: QueryRequest<'navigationStatus'>) {
    this.answered.set(request.type, (this.answered.get(request.type) ?? 0) + 1);
    return { code: 0, message: 'ok', data: { status: status.status ?? MapStatus.IDLE } };
  }

  async navigationMetadata() {
    return { code: 0, data: { remainingTime: 600 } };
  }
}

const server = client.serve({
  queries: new Queries(),
  commands: {
    goHome() {
      status = { status: MapStatus.NAVIGATION, destLocation: { name: 'Home' } };
      client.publishStatus(status);
      return { code: 0, message: 'heading home' };
    },
    stopNavigation: async () => {
      client.publishStatus({ status: MapStatus.IDLE });
    },
  },
});

server.on('handlerError', (error, request) => {
  console.error(`${request.kind} ${request.type} failed:`, error);
});

let remaining = 1200;
const guidance = setInterval(() => {
  remaining -= 100;
  client.publishMetadata({ currentRoadName: 'Ring Road', totalLeftDis: remaining, currentSpeed: 50 });
  if (remaining <= 0) {
    clearInterval(guidance);
    client.close(); // ends serving: the process exits by itself
  }
}, 1000);

process.once('SIGINT', () => client.close());
