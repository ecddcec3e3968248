// SPDX-License-Identifier: Apache-2.0
// Recordings of made-up sessions, for the checks of the page and its pictures.

import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';

const noon = Date.UTC(2026, 2, 1, 12);
const cplc = '479063404091812500002123001A2B3C4D5E4812212448132366481423670000000148152100A7B8C9D1';

/** What must not be on a page that is masked. */
export const secrets = ['4111111111111111', '001A2B3C', '00112233445566778899AABBCCDDEEFF'];

/**
 * @param {number} microseconds
 * @returns {string}
 */
function iso(microseconds) {
  const fraction = String(microseconds % 1000000).padStart(6, '0');
  return `${new Date(noon + Math.floor(microseconds / 1000000) * 1000).toISOString().slice(0, 19)}.${fraction}Z`;
}

class Session {
  constructor() {
    this.now = 0;
    this.message = 0;
    /** @type {string[]} */
    this.device = [];
    /** @type {string[]} */
    this.server = [];
  }

  /**
   * @param {Record<string, unknown>} event
   * @param {number} took
   */
  ofDevice(event, took) {
    const measured = { received: iso(this.now), durationMicroseconds: took, process: 71, session: 1 };
    this.device.push(JSON.stringify({ time: iso(this.now + took), ...event, ...measured }));
    this.now += took + 150;
  }

  /**
   * @param {string} command
   * @param {string} response
   * @param {number} [took]
   */
  exchange(command, response, took = 900 + ((command.length * 37) % 4000)) {
    this.ofDevice({ event: 'exchange', command, response, code: 0 }, took);
  }

  /**
   * One message with its answer, and the commands that the answer brings.
   * @param {string} name
   * @param {Record<string, string>} members
   * @param {string[]} commands
   * @param {Record<string, unknown>} more
   */
  exchangeWithServer(name, members, commands, more) {
    this.now += 4000;
    this.message += 1;
    const request = `data=${JSON.stringify({ msgCd: name, UUID: '0A1B2C3D-0000-4000-8000-0123456789AB', ...members })}`;
    const set = commands.map((command) => `/01${command}`).join('');
    const resultCode = more['resultCode'] ?? (set === '' ? '00000001' : '00000000');
    this.server.push(
      JSON.stringify({
        time: iso(this.now + 1800), received: iso(this.now), durationMicroseconds: 1700, process: 70, job: 1,
        set: this.message, message: this.message, connection: 1, session: '0A1B2C3D-0000-4000-8000-0123456789AB',
        service: 'demo.wallet', msgCd: name, request, status: 200, verdicts: [], notes: [], misbehaviours: [],
        repeated: false, remark: '', ...more, resultCode, answer: JSON.stringify({ resultCode, cApduSet: set }),
      }),
    );
    this.now += 5200;
  }
}

/**
 * @param {[command: string, response: string, title: string, accepted?: boolean][]} sent
 * @returns {Record<string, unknown>}
 */
function verdictsOn(sent) {
  return {
    verdicts: sent.map(([command, response, title, accepted = true]) => ({
      command, response, title, accepted, statusWord: response.slice(-4), expected: accepted ? '' : '9000',
    })),
  };
}

/**
 * A wallet is put on a card, which refuses its personalisation in the end.
 * @returns {Session}
 */
export function walletSession() {
  const session = new Session();
  const code = '5152535455565758';
  session.ofDevice({ event: 'open', atr: '3B88014E41564F434152448B', code: 0 }, 2100);
  session.exchange('00A4040000', '6F108408A000000151000000A5049F6501FF9000');
  session.exchange('80CA9F7F00', `9F7F2A${cplc}9000`);
  /** @type {[string, string, string, boolean?][][]} */
  const sets = [
    [['00A4040000', '6F108408A000000151000000A5049F6501FF9000', 'select the issuer domain'],
      ['8050000008010203040506070800', '00112233445566778899010310111213141516171821222324252627280000059000', 'open the channel']],
    [['848233001031323334353637384142434445464748', '9000', 'authenticate the host']],
    [['84F240020A4F005152535455565758', 'E3124F07A00000084100019F700107C50180CC009000', 'list applications']],
    [[`84E4008011${'4F07A0000008410001'}${code}`, '6A88', 'delete the wallet']],
    [[`84E602001C${'07A000000841000108A000000151000000000000'}${code}00`, '009000', 'load the wallet'],
      [`84E80000C8${'A5'.repeat(192)}5152535455565758`, '009000', 'load the wallet'],
      [`84E88001C8${'5A'.repeat(192)}5152535455565758`, '009000', 'load the wallet']],
    [[`84E60C0029${'07A000000841000108A00000084100010109A00000084100010101010402C90000'}${code}00`, '009000', 'install the wallet']],
    [['80E2900008' + '4111111111111111', '6985', 'personalise the wallet', false]],
  ];
  const members = { serviceId: 'demo.wallet', seId: `9F7F2A${cplc.slice(0, 30)}`, cplc: `9F7F2A${cplc}`, sessionKey: '00112233445566778899AABBCCDDEEFF', msgTime: '260301120000', deviceModel: 'NAVO Virtual Wearable', agentVersion: '1.0.19' };
  session.exchangeWithServer('INITIALIZEAPDU', members, (sets[0] ?? []).map(([command]) => command), {});
  sets.forEach((set, index) => {
    set.forEach(([command, response]) => session.exchange(command, response));
    const next = sets[index + 1];
    const refused = next === undefined ? { resultCode: '90202001', remark: 'action "personalise the wallet" was answered with 6985' } : {};
    const responses = set.map(([, response]) => `/01${response}`).join('');
    session.exchangeWithServer('NEXTAPDU', { rApduSet: responses, seId: `9F7F2A${cplc.slice(0, 30)}`, msgTime: '260301120001' }, (next ?? []).map(([command]) => command), { ...verdictsOn(set), ...refused });
  });
  session.ofDevice({ event: 'close' }, 300);
  return session;
}

/**
 * @param {number} count
 * @returns {Session}
 */
export function longSession(count) {
  const session = new Session();
  session.ofDevice({ event: 'open', atr: '3B00', code: 0 }, 2100);
  for (let index = 0; index < count; index += 1) {
    const word = index === count / 2 ? '6F00' : '9000';
    session.exchange(`80E800${(index % 256).toString(16).padStart(2, '0')}40${'A5'.repeat(64)}`, word);
  }
  return session;
}

/**
 * @param {string} program
 * @param {Session} session
 * @param {string} folder
 * @param {string} name
 * @param {string[]} [options]
 * @returns {string} the page's file
 */
export function pageOf(program, session, folder, name, options = []) {
  const inputs = [`${name}-device.jsonl`, `${name}-record.jsonl`];
  writeFileSync(join(folder, inputs[0] ?? ''), session.device.map((line) => `${line}\n`).join(''));
  writeFileSync(join(folder, inputs[1] ?? ''), session.server.map((line) => `${line}\n`).join(''));
  const page = join(folder, `${name}.html`);
  const given = session.server.length === 0 ? inputs.slice(0, 1) : inputs;
  execFileSync(program, [...options, '--output', page, ...given], { cwd: folder });
  return page;
}
