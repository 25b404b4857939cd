// A page whose part of the program does not answer yet: it says so, and asks again after each return of the connection.

const main = byId('main');
const thing = main.dataset.name;

async function ask() {
  const answer = await link.request('GET', main.dataset.status);
  if (answer.status === 503) {
    setText(byId('title'), `${thing}: not part of this version`);
    setText(byId('text'), `This program does not answer for the ${thing.toLowerCase()}. ` +
            'Nothing can be changed from this page; the host and its instances are not affected.');
  } else if (answer.ok) {
    setText(byId('title'), `${thing}: answering`);
    setText(byId('text'), 'The program answers, but this page has no controls for it. Use the window on the computer.');
  } else {
    setText(byId('title'), `${thing}: unknown`);
    setText(byId('text'), answer.error);
  }
}

link.on('connection', (connected) => {
  if (connected) {
    ask();
  } else {
    setText(byId('title'), `${thing}: no connection`);
    setText(byId('text'), 'The page asks again by itself as soon as the program is back.');
  }
});
startPage();
